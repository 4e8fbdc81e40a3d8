# The Debian packages: `cpack` in the build directory makes libdeskreader2 (what runs), libdeskreader-dev
# (what compiles) and deskreader-tools.
set(packages library:libdeskreader2 development:libdeskreader-dev tools:deskreader-tools)
if(DESKREADER_LIBRARY_ONLY)
  list(REMOVE_ITEM packages tools:deskreader-tools)
endif()

# The packages install under /usr, whatever prefix this build was configured with.
set(own_directory /usr/${CMAKE_INSTALL_LIBDIR}/deskreader)
set(debian ${PROJECT_BINARY_DIR}/debian)
set(loader_file deskreader-${CMAKE_LIBRARY_ARCHITECTURE}.conf)
foreach(script postinst postrm)
  configure_file(packaging/debian/${script}.in ${debian}/${script} @ONLY
    FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
endforeach()
configure_file(packaging/debian/conffiles.in ${debian}/conffiles @ONLY)
configure_file(packaging/debian/ld.so.conf.in ${debian}/${loader_file} @ONLY)
file(COPY packaging/debian/triggers DESTINATION ${debian})

# What only a package brings: the loader's path to the library (for programs that load it by name), and
# the licence in each package's folder.
install(FILES ${debian}/${loader_file} DESTINATION /etc/ld.so.conf.d COMPONENT library_system EXCLUDE_FROM_ALL)
install(FILES ${PROJECT_BINARY_DIR}/completion/_deskreader DESTINATION share/zsh/vendor-completions
  COMPONENT tools_system EXCLUDE_FROM_ALL)
foreach(entry IN LISTS packages)
  string(REPLACE ":" ";" entry ${entry})
  list(GET entry 0 part)
  list(GET entry 1 package)
  install(FILES LICENSE DESTINATION share/doc/${package} RENAME copyright
    COMPONENT ${part}_system EXCLUDE_FROM_ALL)
  list(APPEND CPACK_COMPONENTS_ALL ${part} ${part}_system)
  string(TOUPPER ${part} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package})
endforeach()

# The symbols that packages of hosts depend on by version, from the checked-in list and the library.
find_program(DPKG_GENSYMBOLS dpkg-gensymbols)
set(control_files ${debian}/postinst ${debian}/postrm ${debian}/conffiles ${debian}/triggers)
if(DPKG_GENSYMBOLS)
  set(symbols_list ${PROJECT_SOURCE_DIR}/packaging/debian/libdeskreader2.symbols)
  add_custom_command(OUTPUT ${debian}/symbols
    COMMAND ${DPKG_GENSYMBOLS} -q -c0 -plibdeskreader2 -v${PROJECT_VERSION}
      -e$<TARGET_FILE:deskreader> -I${symbols_list} -O${debian}/symbols
    DEPENDS deskreader ${symbols_list} VERBATIM)
  add_custom_target(debian_symbols ALL DEPENDS ${debian}/symbols)
  list(APPEND control_files ${debian}/symbols)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME deskreader)
set(CPACK_PACKAGE_VENDOR "The deskreader authors")
set(CPACK_PACKAGE_CONTACT "The deskreader authors <deskreader@localhost>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(same_version "libdeskreader2 (= ${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE})")

set(CPACK_COMPONENT_LIBRARY_GROUP library)
set(CPACK_COMPONENT_LIBRARY_SYSTEM_GROUP library)
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION "Counter card reader library
 Drives the multi-function card reader on a counter, over USB or a serial
 port, for programs that call plain C functions.")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS acl)
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${control_files})

set(CPACK_COMPONENT_DEVELOPMENT_GROUP development)
set(CPACK_COMPONENT_DEVELOPMENT_SYSTEM_GROUP development)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "Counter card reader library (development files)
 The header, and what pkg-config and CMake need to find the library.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${same_version}, libcjson-dev")

set(CPACK_COMPONENT_TOOLS_GROUP tools)
set(CPACK_COMPONENT_TOOLS_SYSTEM_GROUP tools)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "Counter card reader tools
 The command-line tool deskreader, and virtual-reader: a reader in software
 with cards in it.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS ${same_version})
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS iso-codes)  # names of countries and currencies
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/src)

include(CPack)
