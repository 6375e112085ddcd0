# The plug-in's layers, bottom to top, and what each may include:
#
#   common   codec knowledge (codec tables, configuration parsers, key-frame rules, bit reader)
#            and the logging seam; includes nothing of ours above it
#   audio    PCM sample conversion; stands alone
#   mfal     the file access layer; uses the logging seam of common
#   demux    the Matroska demuxer, over mfal and common; the rest of the plug-in sees only its
#            public headers (demux/qmkvd.h and the records it includes)
#   front end (libextractor/ itself), the tools and the benchmarks: everything below, the
#            demuxer through its public headers only
#
# Two things hold this in place. Each layer compiles against an include root of its own that
# holds only the layers it may use (symbolic links in the build tree), so a wrong-way include
# does not compile. And qmkv_check_layers reads every include of every source at configure
# time, which also catches headers no source of their layer includes, and the front end
# reaching past the demuxer's public headers.

set(QMKV_LAYER_ROOTS ${CMAKE_BINARY_DIR}/layers)
set(QMKV_DEMUX_PUBLIC qmkvd.h qmkvd_types.h qmkvd_limits.h qmkvd_status.h)

# An include root named `name` that shows the given layer folders and nothing else.
function(qmkv_layer_root name)
  set(root ${QMKV_LAYER_ROOTS}/${name})
  file(MAKE_DIRECTORY ${root})
  foreach(layer ${ARGN})
    if(NOT EXISTS ${root}/${layer})
      file(CREATE_LINK ${CMAKE_SOURCE_DIR}/libextractor/${layer} ${root}/${layer} SYMBOLIC)
    endif()
  endforeach()
endfunction()

# The demuxer's face: a demux/ folder holding only its public headers.
function(qmkv_demux_public_root)
  set(dir ${QMKV_LAYER_ROOTS}/demux_public/demux)
  file(MAKE_DIRECTORY ${dir})
  foreach(header ${QMKV_DEMUX_PUBLIC})
    if(NOT EXISTS ${dir}/${header})
      file(CREATE_LINK ${CMAKE_SOURCE_DIR}/libextractor/demux/${header} ${dir}/${header} SYMBOLIC)
    endif()
  endforeach()
endfunction()

# The front end's own headers, for the tests that look inside the extractor.
function(qmkv_frontend_root)
  set(dir ${QMKV_LAYER_ROOTS}/frontend)
  file(MAKE_DIRECTORY ${dir})
  file(GLOB headers RELATIVE ${CMAKE_SOURCE_DIR}/libextractor ${CMAKE_SOURCE_DIR}/libextractor/*.h)
  foreach(header ${headers})
    if(NOT EXISTS ${dir}/${header})
      file(CREATE_LINK ${CMAKE_SOURCE_DIR}/libextractor/${header} ${dir}/${header} SYMBOLIC)
    endif()
  endforeach()
endfunction()

# Fails the configuration when a file includes a layer it may not. `allowed` lists the layer
# folders it may include ("demux_public" meaning demux/ public headers only).
function(qmkv_check_includes file allowed)
  file(STRINGS ${file} lines REGEX "^[ \t]*#[ \t]*include[ \t]+\"[a-z_]+/")
  foreach(line ${lines})
    string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]+\"([^\"]+)\".*" "\\1" path "${line}")
    string(REGEX REPLACE "/.*" "" layer "${path}")
    if(NOT layer MATCHES "^(common|audio|mfal|demux)$")
      continue()
    endif()
    if(layer STREQUAL "demux" AND NOT "demux" IN_LIST allowed AND "demux_public" IN_LIST allowed)
      string(REGEX REPLACE "^demux/" "" header "${path}")
      if(header IN_LIST QMKV_DEMUX_PUBLIC)
        continue()
      endif()
      message(FATAL_ERROR "layering: ${file} includes ${path}, which is private to the "
                          "demuxer; include demux/qmkvd.h")
    endif()
    if(NOT layer IN_LIST allowed)
      message(FATAL_ERROR "layering: ${file} includes ${path}, but its layer may only use: "
                          "${allowed}")
    endif()
  endforeach()
endfunction()

function(qmkv_check_layers)
  set(rules
    "libextractor/common/*:common"
    "libextractor/audio/*:audio"
    "libextractor/mfal/*:mfal,common"
    "libextractor/demux/*:demux,mfal,common"
    "libextractor/*:common,audio,mfal,demux_public"
    "tools/*:common,audio,mfal,demux_public"
    "bench/*:common,audio,mfal,demux_public")
  set(seen "")
  foreach(rule ${rules})
    string(REPLACE ":" ";" parts "${rule}")
    list(GET parts 0 pattern)
    list(GET parts 1 allowed)
    string(REPLACE "," ";" allowed "${allowed}")
    file(GLOB_RECURSE files RELATIVE ${CMAKE_SOURCE_DIR} CONFIGURE_DEPENDS
         ${CMAKE_SOURCE_DIR}/${pattern}.cc ${CMAKE_SOURCE_DIR}/${pattern}.h)
    foreach(file ${files})
      if(file IN_LIST seen)
        continue()  # the first (most specific) rule that matches a file decides
      endif()
      list(APPEND seen ${file})
      qmkv_check_includes(${CMAKE_SOURCE_DIR}/${file} "${allowed}")
    endforeach()
  endforeach()
endfunction()
