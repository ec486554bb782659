# Debian packages through CPack (`cpack -G DEB` in the build tree): tonvale_<version>_amd64.deb
# with the program, its plug-ins and manual pages, and tonvale-dev_<version>_amd64.deb with the
# plug-in SDK. Dependencies come from dpkg-shlibdeps.
set(CPACK_PACKAGE_NAME tonvale)
set(CPACK_PACKAGE_VENDOR "Tonvale developers")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "Tonvale developers <tonvale@example.org>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL runtime dev)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://tonvale.example.org/")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Control files with the modes dpkg and lintian expect.
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME tonvale)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION sound)
# The first line is the synopsis; CPack indents the rest.
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
"command-line audio conversion core with plug-ins
travex converts one audio file through decoder, encoder and DSP effect
plug-ins, carrying tags and album art over and keeping an existing output
until the new one is complete. It comes with WAV, FLAC, MP3, Ogg Vorbis and
Opus plug-ins, and the tools tvinfo, tvimage, tvreg and tvctl.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME tonvale-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_RECOMMENDS "pkg-config")
set(CPACK_DEBIAN_DEV_PACKAGE_SUGGESTS "tonvale")
set(CPACK_DEBIAN_DEV_DESCRIPTION
"plug-in SDK of the Tonvale audio converter
The C header tonvale/plugin.h with the binary contract between the converter
and its decoder, encoder and DSP plug-ins, the C++ plug-in kit as a static
library, pkg-config and CMake package files, the guide and examples of each
plug-in kind.")

include(CPack)
