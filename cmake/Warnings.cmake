# pciinfo_warnings: the warnings under which every target of this tree is built. The presets make them errors.
add_library(pciinfo_warnings INTERFACE)
target_compile_options(pciinfo_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
