# One place for warnings, optimisation and sanitizer flags.
set(QMKV_WARNINGS -Wall -Wextra -Werror)
# GCC notes an ABI change in passing 64-bit-aligned records on 32-bit ARM; it is informational.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
  add_compile_options(-Wno-psabi)
endif()

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()
set(CMAKE_CXX_FLAGS_RELEASE "-O2" CACHE STRING "" FORCE)
set(CMAKE_C_FLAGS_RELEASE "-O2" CACHE STRING "" FORCE)

# Sanitizers apply to everything in the build, GoogleTest included, so that every object
# agrees on the instrumented runtime. Any report aborts the test that triggered it.
if(QMKV_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer -g)
  add_link_options(-fsanitize=address,undefined -fno-sanitize-recover=all)
endif()

# ThreadSanitizer, for the tests that read and seek the tracks of one file from several threads
# at once. It cannot share a build with AddressSanitizer.
if(QMKV_TSAN)
  if(QMKV_SANITIZE)
    message(FATAL_ERROR "QMKV_TSAN and QMKV_SANITIZE cannot be combined")
  endif()
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer -g)
  add_link_options(-fsanitize=thread)
endif()

# The fuzz flavour: everything instrumented for libFuzzer's coverage and for both sanitizers;
# only the fuzz targets link libFuzzer itself (fuzz/CMakeLists.txt).
if(QMKV_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "QMKV_FUZZ needs clang (CC=clang CXX=clang++)")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer -g)
  add_link_options(-fsanitize=address,undefined -fno-sanitize-recover=all)
endif()

# The device flavour: the plug-in library built as a platform build builds it, with clang, GNU
# C++17, hidden visibility and the integer-overflow checks of the media extractors. TRAP traps on
# the first wrap-around, as a device does; DIAG runs the same checks with a report (file, line,
# values) and aborts. The rest of the build (platform stand-ins, tools, tests) is host code and
# goes without the integer checks, so a trap always points at the plug-in.
set(QMKV_DEVICE OFF CACHE STRING "Device flags on the plug-in library: OFF, TRAP or DIAG")
set_property(CACHE QMKV_DEVICE PROPERTY STRINGS OFF TRAP DIAG)
set(QMKV_DEVICE_FLAGS "")
set(QMKV_INT_CHECKS -fsanitize=signed-integer-overflow,unsigned-integer-overflow)
if(QMKV_DEVICE)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "QMKV_DEVICE needs clang (CC=clang CXX=clang++)")
  endif()
  set(CMAKE_CXX_EXTENSIONS ON)  # -std=gnu++17, as the platform builds
  if(QMKV_DEVICE STREQUAL "TRAP")
    set(QMKV_DEVICE_FLAGS ${QMKV_INT_CHECKS}
                          -fsanitize-trap=signed-integer-overflow,unsigned-integer-overflow)
  elseif(QMKV_DEVICE STREQUAL "DIAG")
    set(QMKV_DEVICE_FLAGS ${QMKV_INT_CHECKS} -fno-sanitize-recover=all -g)
    # The report needs UBSan's runtime, shared so that the plug-in library can use it too.
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-runtime-dir
                    OUTPUT_VARIABLE qmkv_sanitizer_runtime_dir OUTPUT_STRIP_TRAILING_WHITESPACE)
    add_link_options(${QMKV_INT_CHECKS} -shared-libsan
                     -Wl,-rpath,${qmkv_sanitizer_runtime_dir})
  else()
    message(FATAL_ERROR "QMKV_DEVICE is OFF, TRAP or DIAG, not ${QMKV_DEVICE}")
  endif()
endif()

# Control-flow integrity as a device build has it: indirect and virtual calls are checked against
# the types of their targets, and a mismatch traps. Cross-DSO, as on the device, so that calls
# from the plug-in into the framework's side (the data source, the buffer group) are checked in
# whatever library holds them. It needs link-time optimisation of every object, so the whole
# device build has it; the integer checks stay on the plug-in library alone. The fuzz flavour
# takes the integer checks only: its own sanitizers already watch every call.
if(QMKV_DEVICE AND NOT QMKV_FUZZ)
  set(qmkv_cfi -flto -fsanitize=cfi -fsanitize-cfi-cross-dso)
  if(QMKV_DEVICE STREQUAL "DIAG")
    list(APPEND qmkv_cfi -fno-sanitize-trap=cfi)
  endif()
  add_compile_options(${qmkv_cfi} -fvisibility=default)  # the plug-in library: hidden
  add_link_options(-fuse-ld=lld ${qmkv_cfi})
endif()

# __FILE__ in messages names a file as the repository has it (libextractor/...), headers reached
# through a layer's include root (cmake/layers.cmake) too. GCC takes the last map that matches,
# clang the longest, so the build tree's roots come after the source tree that holds them.
set(QMKV_PATH_FLAGS -fmacro-prefix-map=${CMAKE_SOURCE_DIR}/=)
foreach(root common audio mfal demux demux_public frontend)
  list(APPEND QMKV_PATH_FLAGS
       -fmacro-prefix-map=${CMAKE_BINARY_DIR}/layers/${root}/=libextractor/)
endforeach()

function(qmkv_apply_flags target)
  target_compile_options(${target} PRIVATE ${QMKV_WARNINGS} ${QMKV_PATH_FLAGS})
endfunction()

# The plug-in library's own code, in every layer.
function(qmkv_apply_plugin_flags target)
  qmkv_apply_flags(${target})
  if(QMKV_DEVICE)
    target_compile_options(${target} PRIVATE ${QMKV_DEVICE_FLAGS} -fvisibility=hidden)
  endif()
endfunction()
