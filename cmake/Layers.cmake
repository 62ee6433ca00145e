# The folders from top to bottom, in two lists: the product, and the rig with the command line. A folder includes its own
# headers, those of the folders after it in its list, and cmpi, which is under both. It sees no others: its include path
# is a directory of links to these. The test Layers reads the lists here, and holds every #include and README.md to them.
set(PCIINFO_PRODUCT_LAYERS provider pci board slots ipmi utils)
set(PCIINFO_RIG_LAYERS exporter cimhost rig/client rig/wbem rig/mof rig/emulator rig/broker rig/cim)

# pciinfo_links(DIRECTORY FOLDER...): makes DIRECTORY anew, with a link to each folder.
function(pciinfo_links directory)
  file(REMOVE_RECURSE ${directory})
  file(MAKE_DIRECTORY ${directory})
  foreach(folder IN LISTS ARGN)
    get_filename_component(name ${folder} NAME)
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${folder} ${directory}/${name} SYMBOLIC)
  endforeach()
endfunction()

# pciinfo_add_layers(LAYERS): adds the folders of a list; each finds its include path in PCIINFO_VISIBLE.
macro(pciinfo_add_layers layers)
  set(below ${${layers}})
  foreach(folder IN LISTS ${layers})
    set(PCIINFO_VISIBLE ${PROJECT_BINARY_DIR}/visible/${folder})
    pciinfo_links(${PCIINFO_VISIBLE} ${below})
    add_subdirectory(${folder})
    list(POP_FRONT below)
  endforeach()
endmacro()
