# PCIINFO_SANITIZE: sanitizers for every target, in the compiler's own spelling, e.g. "address,undefined" or "thread".
set(PCIINFO_SANITIZE "" CACHE STRING "Sanitizers to build everything with (-fsanitize=...)")
if(PCIINFO_SANITIZE)
  add_compile_options(-fsanitize=${PCIINFO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  # Instrumented code makes gcc see uninitialised values where there are none (<regex> is full of them); the other builds
  # look for them.
  add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  add_link_options(-fsanitize=${PCIINFO_SANITIZE})
endif()
