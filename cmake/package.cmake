# cpack -G DEB: a Debian package of what is installed.

set(CPACK_PACKAGE_NAME blockfit)
set(CPACK_PACKAGE_VENDOR "the Blockfit authors")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_FILE_NAME blockfit-${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_GENERATOR DEB)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION electronics)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "Blockfit authors <blockfit@vornex.example>")
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://vornex.example/blockfit")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "conditions firmware files for consumers that read fixed-size blocks")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Blockfit reads a firmware data file (Intel HEX, Motorola S-record or raw
binary) and writes one Motorola S-record file with the same bytes. In blocks
of 80 characters or more, no record crosses the end of a block: a consumer
that takes the file in blocks, such as a drive that programs whatever is
copied to it, can understand each block by itself, in any order.
.
blockfit-check says why a file is refused, and proves a conversion;
blockfit-convert does it all in one command, which never leaves half a
file. A reference consumer in C comes with the documentation.")

# Debian's own files, and the changes that it requires.
set(BLOCKFIT_SOURCE_DIR ${PROJECT_SOURCE_DIR})
configure_file(packaging/finish_deb.cmake.in finish_deb.cmake @ONLY)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_BINARY_DIR}/finish_deb.cmake)

include(CPack)
