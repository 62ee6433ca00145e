# product: every object of the product, for the library and for white-box tests.
add_library(product INTERFACE)

# pciinfo_product_sources(FOLDER FILE...): compiles one folder of the product and adds it to `product`.
# Product sources include one another with quotes; <cmpi/...> may have to come from another header set.
function(pciinfo_product_sources folder)
  add_library(product_${folder} OBJECT ${ARGN})
  target_compile_options(product_${folder} PUBLIC "SHELL:-iquote \"${PCIINFO_VISIBLE}\"")
  target_compile_options(product_${folder} PRIVATE -fvisibility=hidden -fvisibility-inlines-hidden)
  target_link_libraries(product_${folder} PUBLIC cmpi_product PRIVATE pciinfo_warnings)
  target_link_libraries(product INTERFACE product_${folder})
  target_sources(product INTERFACE $<TARGET_OBJECTS:product_${folder}>)
endfunction()
