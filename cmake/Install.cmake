# What `cmake --install` puts where, in three components: `provider`, what an object manager needs; `tools`, the command
# line with its emulated host and the sample machines; and `exporter`, for Prometheus. Included last, when every target is
# known.
#
# Installed files find one another by relative paths, so a tree that was moved or unpacked elsewhere works.
include(GNUInstallDirs)

set(PCIINFO_PROVIDER_DIR "${CMAKE_INSTALL_LIBDIR}/cmpi" CACHE STRING
    "Where object managers look for CMPI providers, below the installation prefix or absolute")
cmake_path(ABSOLUTE_PATH PCIINFO_PROVIDER_DIR BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} OUTPUT_VARIABLE provider_dir)
set(PCIINFO_ZSH_DIR "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions" CACHE STRING
    "Where zsh looks for completions, below the installation prefix or absolute")
set(share_dir ${CMAKE_INSTALL_DATADIR}/pciinfo-provider)

install(TARGETS PCIInfoProvider LIBRARY DESTINATION ${PCIINFO_PROVIDER_DIR} COMPONENT provider)
install(FILES
  schema/PCIInfoProvider.mof
  schema/qualifiers.mof
  schema/PCIInfoProvider.reg
  schema/PCIInfoProvider.registration
  schema/PCIInfoProviderRegistration.mof
  DESTINATION ${share_dir} COMPONENT provider)

file(RELATIVE_PATH PCIINFO_PROVIDER_FROM_SBIN ${CMAKE_INSTALL_FULL_SBINDIR} ${provider_dir})
file(RELATIVE_PATH PCIINFO_SHARE_FROM_SBIN ${CMAKE_INSTALL_FULL_SBINDIR}
     ${CMAKE_INSTALL_FULL_DATADIR}/pciinfo-provider)
configure_file(packaging/pciinfo-register.in packaging/pciinfo-register @ONLY)
install(PROGRAMS ${CMAKE_CURRENT_BINARY_DIR}/packaging/pciinfo-register
  DESTINATION ${CMAKE_INSTALL_SBINDIR} COMPONENT provider)
install(FILES packaging/man/PCIInfoProvider.7 DESTINATION ${CMAKE_INSTALL_MANDIR}/man7 COMPONENT provider)
install(FILES packaging/man/pciinfo-register.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT provider)

if(PCIINFO_PRODUCT_ONLY)
  return()
endif()

# libemulatedhost.so has no stable interface: it is the command's own, in a directory of its own.
set(private_dir ${CMAKE_INSTALL_LIBDIR}/pciinfo-provider)
file(RELATIVE_PATH private_from_bin ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR}/pciinfo-provider)
file(RELATIVE_PATH provider_from_bin ${CMAKE_INSTALL_FULL_BINDIR} ${provider_dir})
set_target_properties(cimhost PROPERTIES INSTALL_RPATH "$ORIGIN/${private_from_bin}")
file(RELATIVE_PATH share_from_bin ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_DATADIR}/pciinfo-provider)
target_compile_definitions(cimhost_lib PRIVATE
  CIMHOST_PROVIDER_FROM_BIN="${provider_from_bin}" CIMHOST_SHARE_FROM_BIN="${share_from_bin}")

install(TARGETS cimhost RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
install(TARGETS emulatedhost LIBRARY DESTINATION ${private_dir} COMPONENT tools)
install(PROGRAMS scripts/capture-host DESTINATION ${CMAKE_INSTALL_BINDIR} RENAME pciinfo-capture COMPONENT tools)
install(FILES packaging/man/cimhost.1 packaging/man/pciinfo-capture.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
install(FILES packaging/completion/cimhost.bash
  DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME cimhost COMPONENT tools)
install(FILES packaging/completion/_cimhost
  DESTINATION ${PCIINFO_ZSH_DIR} COMPONENT tools)

install(FILES ${CMAKE_BINARY_DIR}/catalogue/pci.xml ${CMAKE_BINARY_DIR}/catalogue/pci.classlist
  DESTINATION ${share_dir}/catalogue COMPONENT tools)
# Whole, with catalogues of their own, so that a copy of one is a host directory too.
get_target_property(sample_names samples PCIINFO_SAMPLE_NAMES)
foreach(name ${sample_names})
  install(DIRECTORY ${CMAKE_BINARY_DIR}/samples/${name} DESTINATION ${share_dir}/samples COMPONENT tools)
endforeach()

if(NOT CIMHOST_SERVE)
  return()
endif()
set(PCIINFO_UNIT_DIR lib/systemd/system CACHE STRING
    "Where systemd looks for units, below the installation prefix or absolute")
configure_file(packaging/exporter/pciinfo-exporter.service.in packaging/pciinfo-exporter.service @ONLY)
install(TARGETS pciinfo-exporter RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT exporter)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/packaging/pciinfo-exporter.service
  DESTINATION ${PCIINFO_UNIT_DIR} COMPONENT exporter)
install(FILES packaging/exporter/config.yml DESTINATION ${CMAKE_INSTALL_SYSCONFDIR}/pciinfo-exporter COMPONENT exporter)
install(FILES
  packaging/exporter/pciinfo-dashboard.json
  packaging/exporter/pciinfo-rules.yml
  packaging/exporter/prometheus.yml
  DESTINATION ${CMAKE_INSTALL_DATADIR}/pciinfo-exporter COMPONENT exporter)
install(FILES packaging/man/pciinfo-exporter.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8 COMPONENT exporter)
