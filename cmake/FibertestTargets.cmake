# Helpers that give every target of the project the same shape: the warning
# set, assertions that stay on, hidden symbols with a generated export header,
# and an alias fibertest::<name>.

# The one warning list of the project, applied to our own targets only.
add_library(fibertest_warnings INTERFACE)
target_compile_options(fibertest_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Werror)

# Assertions are part of the behaviour and stay active in every build. The
# presets leave the release flags without the define that turns them off, and
# -UNDEBUG undoes it should a caller's cache bring it back; the check source
# refuses to compile if it survives anyway.
add_library(fibertest_assertions INTERFACE)
target_compile_options(fibertest_assertions INTERFACE -UNDEBUG)
set(FIBERTEST_ASSERTIONS_CHECK "${CMAKE_CURRENT_LIST_DIR}/assertions-on.cpp")

set(FIBERTEST_GENERATED_INCLUDE "${PROJECT_BINARY_DIR}/include")
set(FIBERTEST_CMAKE_DIR "${CMAKE_CURRENT_LIST_DIR}")

# fibertest_add_layer(<name> SOURCES ... [DEPENDS ...] [PRIVATE_DEPENDS ...])
#
# One layer of the library, from the folder src/<name>. It is built as a static
# archive of position-independent objects: the tests link the layer alone, so
# a layer that reaches into one it does not depend on fails to link, and the
# shared library takes all layers whole. DEPENDS are the layers and packages
# that the layer's headers expose; PRIVATE_DEPENDS the rest.
function(fibertest_add_layer name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS;PRIVATE_DEPENDS" ${ARGN})
  set(target fibertest_${name})
  add_library(${target} STATIC ${ARG_SOURCES} ${FIBERTEST_ASSERTIONS_CHECK})
  add_library(fibertest::${name} ALIAS ${target})
  # The layers are archives inside one shared library, so the export macro
  # always means default visibility (the stock generator would leave it empty
  # for an archive).
  string(TOUPPER "${name}" upper)
  set(FIBERTEST_LAYER ${name})
  set(FIBERTEST_EXPORT_MACRO FIBERTEST_${upper}_EXPORT)
  set(FIBERTEST_NO_EXPORT_MACRO FIBERTEST_${upper}_NO_EXPORT)
  configure_file("${FIBERTEST_CMAKE_DIR}/export.h.in"
    "${FIBERTEST_GENERATED_INCLUDE}/${name}/${name}-export.h" @ONLY)
  target_include_directories(${target} PUBLIC
    "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>"
    "$<BUILD_INTERFACE:${FIBERTEST_GENERATED_INCLUDE}>")
  target_link_libraries(${target}
    PUBLIC ${ARG_DEPENDS}
    PRIVATE ${ARG_PRIVATE_DEPENDS} fibertest_warnings fibertest_assertions)
  set_property(GLOBAL APPEND PROPERTY FIBERTEST_LAYERS ${target})
  # Outside packages (not our own layers) go into the shared library's link.
  foreach(dep IN LISTS ARG_DEPENDS ARG_PRIVATE_DEPENDS)
    if(NOT dep MATCHES "^fibertest::")
      set_property(GLOBAL APPEND PROPERTY FIBERTEST_LAYER_PACKAGES ${dep})
    endif()
  endforeach()
endfunction()

# fibertest_add_program(<target> SOURCES ... [LIBRARIES ...])
# A program of ours: the same warnings and assertion policy as the library.
function(fibertest_add_program target)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(${target} ${ARG_SOURCES})
  target_link_libraries(${target} PRIVATE ${ARG_LIBRARIES}
    fibertest_warnings fibertest_assertions)
endfunction()
