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

function(qmkv_apply_flags target)
  target_compile_options(${target} PRIVATE ${QMKV_WARNINGS})
endfunction()
