# pciinfo_fmt: the library fmt. Where it is not for the target (Debian has it for one word length at a time), its headers
# alone.
add_library(pciinfo_fmt INTERFACE)
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  find_package(fmt REQUIRED)
  target_link_libraries(pciinfo_fmt INTERFACE fmt::fmt)
else()
  target_compile_definitions(pciinfo_fmt INTERFACE FMT_HEADER_ONLY)
endif()
