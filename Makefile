# The two commands of the README, and a few more for developers.
#
#   make demo    install what is missing, build, run `fibertest demo`
#   make test    install what is missing, build, run every test
#   make asan    the tests under AddressSanitizer and UndefinedBehaviorSanitizer
#   make fuzz    build the fuzz targets with clang and run each briefly
#   make bench   build and run the benchmarks
#   make install install into PREFIX (default /usr/local)

PRESET ?= default
PREFIX ?= /usr/local
BUILD_DIR := build/$(PRESET)

.PHONY: demo test asan fuzz bench install setup configure build clean

demo: build
	$(BUILD_DIR)/tools/fibertest/fibertest demo

test: build
	ctest --preset $(PRESET)

asan:
	$(MAKE) test PRESET=asan

fuzz:
	./scripts/install-deps.sh --fuzz
	$(MAKE) test PRESET=fuzz SETUP_DONE=1

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
