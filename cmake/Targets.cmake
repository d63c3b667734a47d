# Compile settings shared by all targets.
add_library(orq_options INTERFACE)
target_include_directories(orq_options INTERFACE ${CMAKE_SOURCE_DIR}/src)
target_compile_options(orq_options INTERFACE -Wall -Wextra -Wconversion -Wshadow)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  target_compile_options(orq_options INTERFACE -Wthread-safety)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # gcc 12 sees overlaps in the inlined concatenation of strings that cannot happen (its bug 105651).
  target_compile_options(orq_options INTERFACE -Wno-restrict)
endif()
if(ORQ_WERROR)
  target_compile_options(orq_options INTERFACE -Werror)
endif()
if(ORQ_SANITIZE)
  target_compile_options(orq_options INTERFACE -fsanitize=${ORQ_SANITIZE} -fno-omit-frame-pointer
                                               -fno-sanitize-recover=all)
  target_link_options(orq_options INTERFACE -fsanitize=${ORQ_SANITIZE})
endif()

# For a folder whose code is not what takes the time when it runs: optimising it takes most of the build.
macro(orq_build_quickly)
  if(ORQ_SANITIZE)
    add_compile_options(-O0)
  else()
    add_compile_options(-O1)
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # Where it optimises little, gcc 12 takes the room inside a short string for all that std::string("x") + "y" can
    # have, and warns under three names. The libraries, which are optimised, keep these warnings.
    add_compile_options(-Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread)
  endif()
endmacro()

# Most of the time that the libraries take to compile goes into reading the headers of C++ itself.
function(orq_precompile name)
  if(NOT ORQ_PRECOMPILE_HEADERS)
    return()
  endif()
  target_precompile_headers(${name} PRIVATE <algorithm> <array> <atomic> <chrono> <cmath> <condition_variable> <cstdint>
                            <cstring> <functional> <memory> <mutex> <optional> <span> <string> <string_view> <thread>
                            <utility> <vector>)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # The same three warnings: a precompiled header makes gcc 12 forget that they are about the system's code.
    target_compile_options(${name} PRIVATE -Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread)
  endif()
endfunction()

# ccache can only tell whether a precompiled header has changed when the compiler says that it used one.
if(CMAKE_CXX_COMPILER_LAUNCHER MATCHES "ccache" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options(-fpch-preprocess)
endif()

# A static library from every .cpp file of the folders given after its name, and of the rooms in them.
function(orq_add_library name)
  set(sources)
  foreach(folder ${ARGN})
    file(GLOB_RECURSE found CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${folder}/*.cpp)
    list(APPEND sources ${found})
  endforeach()
  file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/${name}_anchor.cpp CONTENT "// keeps ${name} a real library\n")
  add_library(${name} STATIC ${sources} ${CMAKE_CURRENT_BINARY_DIR}/${name}_anchor.cpp)
  target_link_libraries(${name} PUBLIC orq_options Threads::Threads)
  orq_precompile(${name})
endfunction()
