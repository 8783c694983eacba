# The two commands of the README, and a few more for developers.
#
#   make demo    install what is missing, build, run `fibertest demo`
#   make test    install what is missing, build, run every test, and a short
#                run of each fuzz target (clang, under the sanitizers)
#   make asan    the tests under AddressSanitizer and UndefinedBehaviorSanitizer
#   make tsan    the tests under ThreadSanitizer
#   make fuzz    build the fuzz targets with clang and run each briefly
#   make bench   build and run the benchmarks
#   make install install into PREFIX (default /usr/local)

PRESET ?= default
PREFIX ?= /usr/local
BUILD_DIR := build/$(PRESET)

.PHONY: demo test asan tsan fuzz fuzz-smoke bench install setup configure build clean

demo: build
	$(BUILD_DIR)/tools/fibertest/fibertest demo

test: build
	ctest --preset $(PRESET)
ifeq ($(PRESET),default)
	$(MAKE) --no-print-directory fuzz-smoke SETUP_DONE=1
endif

# A short run of every fuzz target from its seeds, under AddressSanitizer and
# UndefinedBehaviorSanitizer (about two minutes in all).
fuzz-smoke: setup
	cmake --preset fuzz
	cmake --build --preset fuzz --target fuzz-all
	ctest --preset fuzz -L fuzz

asan:
	$(MAKE) test PRESET=asan

tsan:
	$(MAKE) test PRESET=tsan

fuzz: fuzz-smoke

bench: build
	@for b in $(BUILD_DIR)/bench/bench-*; do echo "== $$b"; $$b || exit 1; done

install: build
	cmake --install $(BUILD_DIR) --prefix $(PREFIX)

setup:
ifndef SETUP_DONE
	./scripts/install-deps.sh
endif

configure: setup
	cmake --preset $(PRESET)

build: configure
	cmake --build --preset $(PRESET)

clean:
	rm -rf build
