option(KY_TESTS "Build the test suites" ON)
option(KY_FUZZ "Build the libFuzzer targets (clang only)" OFF)
option(KY_WERROR "Warnings of the compiler are errors" OFF)
set(KY_SANITIZE "" CACHE STRING "Sanitizers of the whole build, as -fsanitize takes them")

find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # What ccache wants before it caches a precompiled header, which is made shortly before it is read, and its users.
  set(CMAKE_CXX_COMPILER_LAUNCHER
    ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${CCACHE})
endif()

add_library(ky_options INTERFACE)
target_compile_options(ky_options INTERFACE
  -Wall -Wextra -Wconversion -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual $<$<BOOL:${KY_WERROR}>:-Werror>)
if(KY_SANITIZE)
  add_compile_options(-fsanitize=${KY_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${KY_SANITIZE})
else()
  add_link_options(LINKER:--no-undefined LINKER:--as-needed)
endif()
