# CPack: three Debian packages from the install components (cmake/Install.cmake):
#   libveskcrypto1      runtime            the module
#   libveskcrypto-dev   dev                header, CMake package, veskcrypto.pc, .so link
#   vesk-crypto         cli + emulator     the command-line host, its manual page, the emulator
# Build them with: cpack -G DEB --config build/CPackConfig.cmake
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME libveskcrypto)
set(CPACK_PACKAGE_VENDOR "libVeskCrypto developers")
set(CPACK_PACKAGE_CONTACT "${VESK_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL runtime dev cli emulator)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${VESK_PACKAGE_NAME_runtime})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# The module's shlibs, symbols (its four exported names) and ldconfig trigger. Written here
# rather than generated: CPack would also list the emulator, which has no versioned SONAME.
set(control ${PROJECT_BINARY_DIR}/debian/${VESK_PACKAGE_NAME_runtime})
file(CONFIGURE OUTPUT ${control}/shlibs CONTENT
  "libVeskCrypto ${PROJECT_VERSION_MAJOR} ${VESK_PACKAGE_NAME_runtime} (>= ${PROJECT_VERSION})\n")
file(STRINGS ${PROJECT_SOURCE_DIR}/src/plugin/exports.map exported REGEX "^ +[A-Za-z_][A-Za-z0-9_]*;$")
list(TRANSFORM exported REPLACE "^ +([A-Za-z0-9_]+);$" " \\1@Base ${PROJECT_VERSION}")
list(SORT exported)
list(JOIN exported "\n" exported)
file(CONFIGURE OUTPUT ${control}/symbols CONTENT
  "libVeskCrypto.so.${PROJECT_VERSION_MAJOR} ${VESK_PACKAGE_NAME_runtime} #MINVER#\n* Build-Depends-Package: ${VESK_PACKAGE_NAME_dev}\n${exported}\n")
file(CONFIGURE OUTPUT ${control}/triggers CONTENT "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${control}/shlibs ${control}/symbols ${control}/triggers)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "signing module loaded at run time (CAdES, PAdES)
libVeskCrypto is a signing module that an office editor loads at run time.
Through one JSON request per call it lists the user's signing
certificates, signs files (attached or detached CAdES, or PAdES inside a
PDF with a visible stamp), adds signatures, verifies them and extracts the
signed content. Cryptography is done by the CryptoPro CAdES library,
bound at run time.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME ${VESK_PACKAGE_NAME_dev})
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libboost-dev")
set(CPACK_COMPONENT_DEV_DEPENDS runtime)
set(CPACK_DEBIAN_DEV_DESCRIPTION "signing module loaded at run time - development files
libVeskCrypto is a signing module that an office editor loads at run time
and drives with JSON requests.
.
This package holds what a host needs to load it: the header
vesk/VeskCrypto.h, the CMake package VeskCrypto and the pkg-config file
veskcrypto.")

# The command-line host and the emulator make one package.
set(CPACK_COMPONENT_CLI_GROUP tools)
set(CPACK_COMPONENT_EMULATOR_GROUP tools)
# vesk-crypto loads the module at run time, where dpkg-shlibdeps cannot see it.
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${VESK_PACKAGE_NAME_runtime} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME ${VESK_PACKAGE_NAME_cli})
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
# The emulator's GOST algorithms and the test PKI script need OpenSSL's tool and GOST engine.
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS "openssl, libengine-gost-openssl")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "command-line host for the libVeskCrypto signing module
vesk-crypto loads libVeskCrypto at run time, as an office editor does,
and sends it JSON requests: list certificates, sign, co-sign, verify and
extract, from the command line or from a file of requests.
.
The package also carries an open emulator of the CAdES library, doing
real GOST and RSA cryptography with OpenSSL, with a script that makes a
test PKI, for demonstrations on machines without CryptoPro. They live in
/usr/lib/vesk-crypto, off the library search path.")

include(CPack)
