# What `cmake --install` lays out, by component (the .deb packages follow the components):
#   runtime   the module, libVeskCrypto.so.1
#   dev       the public header, the CMake package, veskcrypto.pc, the libVeskCrypto.so link
#   cli       vesk-crypto and its manual page
#   emulator  the CAdES emulator with the test PKI script, under LIBDIR's private folder
#             lib/vesk-crypto, off the library search path so that no host loads it by accident
include(CMakePackageConfigHelpers)

# The Debian package of each component, whose documentation folder carries the copyright file.
set(VESK_PACKAGE_NAME_runtime libveskcrypto${PROJECT_VERSION_MAJOR})
set(VESK_PACKAGE_NAME_dev libveskcrypto-dev)
set(VESK_PACKAGE_NAME_cli vesk-crypto)  # with the emulator component
set(VESK_PACKAGE_MAINTAINER "libVeskCrypto developers <vesk-crypto@example.org>" CACHE STRING
  "Maintainer of the .deb packages, \"Name <address>\"")

set(VESK_CMAKE_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/VeskCrypto)
set(VESK_PRIVATE_DIR lib/vesk-crypto)

# Shared libraries are not executables (Debian policy 8.1).
set(VESK_LIBRARY_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)

install(TARGETS VeskCrypto
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} PERMISSIONS ${VESK_LIBRARY_PERMISSIONS}
    COMPONENT runtime NAMELINK_COMPONENT dev)

# Compresses a text at configure time as Debian ships documentation (gzip -9n: no name, no time).
function(vesk_gzip input output)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${input})
  get_filename_component(folder ${output} DIRECTORY)
  file(MAKE_DIRECTORY ${folder})
  execute_process(COMMAND gzip -9n -c ${input} OUTPUT_FILE ${output} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# Each package's copyright and changelog, as Debian documentation folders hold them.
# The copyright file is made from LICENSE: the notice its appendix gives for applying the licence,
# as the continuation lines of the License paragraph (each line indented by one space, an empty
# line written " ."), and where Debian keeps the full text, as Debian asks.
file(READ ${PROJECT_SOURCE_DIR}/LICENSE license_text)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/LICENSE)
string(REGEX MATCH "Licensed under the Apache License, Version 2\\.0.*limitations under the License\\." notice "${license_text}")
if(NOT notice)
  message(FATAL_ERROR "LICENSE does not carry the Apache License 2.0 notice")
endif()
string(REGEX REPLACE "\n[ \t]*" "\n " notice " ${notice}")
string(REPLACE "\n \n" "\n .\n" notice "${notice}")
set(VESK_LICENSE_PARAGRAPH "${notice}
 .
 On Debian systems, the complete text of the Apache License, Version 2.0 can be
 found in \"/usr/share/common-licenses/Apache-2.0\".")
set(VESK_COPYRIGHT_FILE ${PROJECT_BINARY_DIR}/doc/copyright)
configure_file(${PROJECT_SOURCE_DIR}/cmake/copyright.in ${VESK_COPYRIGHT_FILE} @ONLY)
string(REGEX REPLACE "^(..)(..)(..)(..)(..)$" "20\\1-\\2-\\3 \\4:\\5 UTC" release_time "${VESK_BUILD_STAMP}")
execute_process(COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C date -u -R -d "${release_time}"
  OUTPUT_VARIABLE release_date OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
foreach(component IN ITEMS runtime dev cli)
  set(package ${VESK_PACKAGE_NAME_${component}})
  set(changelog ${PROJECT_BINARY_DIR}/doc/${package}/changelog)
  file(CONFIGURE OUTPUT ${changelog} CONTENT "${package} (${PROJECT_VERSION}) unstable; urgency=medium

  * Release ${PROJECT_VERSION}, build ${VESK_BUILD_STAMP}.

 -- ${VESK_PACKAGE_MAINTAINER}  ${release_date}
")
  vesk_gzip(${changelog} ${changelog}.gz)
  install(FILES ${VESK_COPYRIGHT_FILE} ${changelog}.gz
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package} COMPONENT ${component})
endforeach()

# The header and the CMake package: find_package(VeskCrypto 1.0) gives VeskCrypto::VeskCrypto
# (the include path) and VeskCrypto_MODULE (the module's file, to dlopen).
install(FILES ${PROJECT_SOURCE_DIR}/include/vesk/VeskCrypto.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vesk COMPONENT dev)
install(TARGETS vesk_public_header EXPORT VeskCryptoTargets COMPONENT dev)
install(EXPORT VeskCryptoTargets NAMESPACE VeskCrypto::
  DESTINATION ${VESK_CMAKE_PACKAGE_DIR} COMPONENT dev)
set(VESK_MODULE_FILE ${CMAKE_INSTALL_LIBDIR}/libVeskCrypto.so.${PROJECT_VERSION_MAJOR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/VeskCryptoConfig.cmake.in
  ${PROJECT_BINARY_DIR}/VeskCryptoConfig.cmake
  INSTALL_DESTINATION ${VESK_CMAKE_PACKAGE_DIR}
  PATH_VARS VESK_MODULE_FILE)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/VeskCryptoConfigVersion.cmake
  COMPATIBILITY SameMajorVersion ARCH_INDEPENDENT)
install(FILES ${PROJECT_BINARY_DIR}/VeskCryptoConfig.cmake ${PROJECT_BINARY_DIR}/VeskCryptoConfigVersion.cmake
  DESTINATION ${VESK_CMAKE_PACKAGE_DIR} COMPONENT dev)

# veskcrypto.pc names the installation's own prefix, known only when installing. Each
# installation configures its own copy, so that installs into several prefixes may run at once.
list(TRANSFORM CMAKE_DL_LIBS PREPEND "-l" OUTPUT_VARIABLE VESK_PC_LIBS)
list(JOIN VESK_PC_LIBS " " VESK_PC_LIBS)
set(VESK_PC_PREFIX "@VESK_PC_PREFIX@")
configure_file(${PROJECT_SOURCE_DIR}/cmake/veskcrypto.pc.in ${PROJECT_BINARY_DIR}/pkgconfig/veskcrypto.pc.in @ONLY)
install(CODE "
  set(VESK_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  string(MD5 installation \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}\")
  set(pc \"${PROJECT_BINARY_DIR}/pkgconfig/\${installation}/veskcrypto.pc\")
  configure_file(\"${PROJECT_BINARY_DIR}/pkgconfig/veskcrypto.pc.in\" \"\${pc}\" @ONLY)
  file(INSTALL DESTINATION \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/pkgconfig\" TYPE FILE FILES \"\${pc}\")
  " COMPONENT dev)

# The command-line host and its manual page, compressed as Debian ships manual pages.
install(TARGETS vesk-crypto RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT cli)
set(VESK_MAN_PAGE ${PROJECT_BINARY_DIR}/man/vesk-crypto.1.gz)
vesk_gzip(${PROJECT_SOURCE_DIR}/tools/vesk-crypto.1 ${VESK_MAN_PAGE})
install(FILES ${VESK_MAN_PAGE} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT cli)

if(TARGET cades)
  install(TARGETS cades LIBRARY DESTINATION ${VESK_PRIVATE_DIR} PERMISSIONS ${VESK_LIBRARY_PERMISSIONS}
    COMPONENT emulator)
  install(PROGRAMS ${PROJECT_SOURCE_DIR}/scripts/make-test-pki.sh DESTINATION ${VESK_PRIVATE_DIR} COMPONENT emulator)
  install(FILES ${PROJECT_SOURCE_DIR}/scripts/test-pki.conf DESTINATION ${VESK_PRIVATE_DIR} COMPONENT emulator)
endif()
