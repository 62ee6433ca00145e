# Refuses to configure the tree inside itself. CMake would leave CMakeCache.txt and CMakeFiles even after an error, and a
# later `cmake ..` would take the cache for the build folder's; so cmake is ended before it writes them.
file(REAL_PATH ${CMAKE_SOURCE_DIR} source_dir)
file(REAL_PATH ${CMAKE_BINARY_DIR} binary_dir)
if(source_dir STREQUAL binary_dir)
  message("This tree is built in a folder of its own, for instance\n"
          "    cmake -B build && cmake --build build\n"
          "or with a preset: cmake --preset release && cmake --build --preset release")
  if(NOT EXISTS ${binary_dir}/CMakeCache.txt)
    file(REMOVE_RECURSE ${binary_dir}/CMakeFiles)
    execute_process(COMMAND sh -c "kill -TERM $PPID && sleep 1")
  endif()
  message(FATAL_ERROR "Remove CMakeCache.txt and CMakeFiles from ${source_dir}")
endif()
