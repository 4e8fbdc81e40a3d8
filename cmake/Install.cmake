# What `cmake --install` puts where. Components: library (what runs), development (what compiles), tools.
#
# The library lies in a directory of its own, because it keeps config.ini and the folder log beside
# itself. No link to it lies anywhere else: reached by one, it would take the link's directory for its own.
set(own_directory ${CMAKE_INSTALL_LIBDIR}/deskreader)
set(cmake_directory ${CMAKE_INSTALL_LIBDIR}/cmake/deskreader)

install(TARGETS deskreader EXPORT deskreader
  LIBRARY DESTINATION ${own_directory} COMPONENT library NAMELINK_COMPONENT development)
install(FILES packaging/config.ini DESTINATION ${own_directory} COMPONENT library)
install(FILES docs/man/deskreader-config.ini.5 DESTINATION ${CMAKE_INSTALL_MANDIR}/man5 COMPONENT library)
install(PROGRAMS packaging/share-with-group DESTINATION ${own_directory} COMPONENT library)
install(DIRECTORY DESTINATION ${own_directory}/log COMPONENT library)
# udev reads this folder under /usr and /usr/local.
install(FILES packaging/70-deskreader.rules DESTINATION lib/udev/rules.d COMPONENT library)

install(FILES include/deskreader.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

# pkg-config gets the prefix of the installation, which is known only then.
cmake_path(APPEND pc_includedir "\\\${prefix}" ${CMAKE_INSTALL_INCLUDEDIR})
cmake_path(APPEND pc_libdir "\\\${prefix}" ${own_directory})
cmake_path(APPEND pc_file "\${CMAKE_INSTALL_PREFIX}" ${CMAKE_INSTALL_LIBDIR} pkgconfig deskreader.pc)
install(CODE "
  set(includedir \"${pc_includedir}\")
  set(libdir \"${pc_libdir}\")
  set(PROJECT_VERSION \"${PROJECT_VERSION}\")
  set(PROJECT_DESCRIPTION \"${PROJECT_DESCRIPTION}\")
  set(pc_file \"${pc_file}\")
  message(STATUS \"Installing: \$ENV{DESTDIR}\${pc_file}\")
  configure_file(\"${PROJECT_SOURCE_DIR}/packaging/deskreader.pc.in\" \"\$ENV{DESTDIR}\${pc_file}\" @ONLY)
  list(APPEND CMAKE_INSTALL_MANIFEST_FILES \"\${pc_file}\")"
  COMPONENT development)

include(CMakePackageConfigHelpers)
configure_package_config_file(packaging/deskreaderConfig.cmake.in ${PROJECT_BINARY_DIR}/deskreaderConfig.cmake
  INSTALL_DESTINATION ${cmake_directory})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/deskreaderConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/deskreaderConfig.cmake ${PROJECT_BINARY_DIR}/deskreaderConfigVersion.cmake
  cmake/Findcjson.cmake DESTINATION ${cmake_directory} COMPONENT development)
install(EXPORT deskreader FILE deskreaderTargets.cmake NAMESPACE deskreader::
  DESTINATION ${cmake_directory} COMPONENT development)

if(NOT DESKREADER_LIBRARY_ONLY)
  file(RELATIVE_PATH from_tool ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR}/deskreader)
  set_target_properties(deskreader_tool PROPERTIES INSTALL_RPATH "\$ORIGIN/${from_tool}")
  # The Ultralight primitives that the tool brings; no other host is to find them by accident.
  set_target_properties(ultralight_primitives PROPERTIES INSTALL_RPATH "\$ORIGIN")
  install(TARGETS ultralight_primitives record_companion LIBRARY DESTINATION ${own_directory} COMPONENT tools)
  install(TARGETS deskreader_tool virtual-reader DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(FILES docs/man/deskreader.1 docs/man/virtual-reader.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  install(FILES ${PROJECT_BINARY_DIR}/completion/deskreader
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
  # zsh looks here below /usr/local; below /usr Debian has another place, see Packages.cmake.
  install(FILES ${PROJECT_BINARY_DIR}/completion/_deskreader
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions COMPONENT tools_zsh)
  install(FILES virtual_reader/decks/deck.schema.json DESTINATION ${CMAKE_INSTALL_DATADIR}/deskreader COMPONENT tools)
endif()
