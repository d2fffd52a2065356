# Debian packages from the install components: `cpack -G DEB` in the build folder makes
#   libplayersdk2      Runtime      the two shared libraries
#   libplayersdk-dev   Development  headers, link names, pkg-config files, CMake package
#   playersdk-tools    Tools        the demo player and its man page
# The -dev and tools packages depend on the runtime package of the same version; the runtime
# package's own dependencies come from dpkg-shlibdeps.
set(CPACK_PACKAGE_NAME playersdk)
set(CPACK_PACKAGE_VENDOR "PlayerSDK developers")
set(CPACK_PACKAGE_CONTACT "PlayerSDK developers <playersdk@localhost>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Network video player library for IP cameras and recorders")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_GENERATOR DEB)
set(CPACK_COMPONENTS_ALL Runtime Development Tools)
set(CPACK_COMPONENT_DEVELOPMENT_DEPENDS Runtime)
set(CPACK_COMPONENT_TOOLS_DEPENDS Runtime)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libplayersdk2)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "Network video player library (shared libraries)
 Plays RTSP and RTP video of IP cameras, encoders and recorders, records streams, grabs
 pictures and plays recorded files; libPlayerDecoder decodes H.264 and MPEG-4 on FFmpeg.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libplayersdk-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "Network video player library (development files)
 Headers, pkg-config files (playersdk, playerdecoder), the CMake package PlayerSDK and
 example programs.")
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME playersdk-tools)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "Network video player library (demo player)
 playersdk-demo plays an RTSP URL, or a live test pattern it serves itself, records it,
 grabs a picture and plays the recording back.")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
# The demo needs libPlayerSDK.so.2, and that needs libPlayerDecoder.so.1: both come from the
# runtime package, so dpkg-shlibdeps is pointed at the build's copies.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/decoder)
include(CPack)
