# Install rules: what `cmake --install` (and `ninja install`) puts under the prefix, in three
# components that become the three Debian packages:
#   Runtime      lib/libPlayerSDK.so.2*, lib/libPlayerDecoder.so.1*, the license
#   Development  include/playersdk/*.h, the lib*.so link names, lib/pkgconfig/*.pc,
#                lib/cmake/PlayerSDK/ (find_package), README, change log and examples
#   Tools        bin/playersdk-demo and its man page
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(PLAYERSDK_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/playersdk)
set(PLAYERSDK_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/PlayerSDK)

# The installed libPlayerSDK.so finds the decoder library beside itself, and the demo finds
# both in the library folder, wherever the prefix is and without LD_LIBRARY_PATH.
file(RELATIVE_PATH playersdk_bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
set_target_properties(PlayerSDK PROPERTIES INSTALL_RPATH "$ORIGIN")

install(TARGETS PlayerSDK PlayerDecoder EXPORT PlayerSDKTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
  INCLUDES DESTINATION ${PLAYERSDK_INSTALL_INCLUDEDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/PlayerSDK.h ${PROJECT_SOURCE_DIR}/include/PlayerDecoder.h
  DESTINATION ${PLAYERSDK_INSTALL_INCLUDEDIR} COMPONENT Development)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT Runtime)
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT Development)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/ DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples
  COMPONENT Development)

if(TARGET playersdk-demo)
  set_target_properties(playersdk-demo PROPERTIES INSTALL_RPATH "$ORIGIN/${playersdk_bin_to_lib}")
  install(TARGETS playersdk-demo RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Tools)
  install(FILES ${PROJECT_SOURCE_DIR}/demo/playersdk-demo.1
    DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT Tools)
endif()

# pkg-config: prefix is found from the .pc file's own place, so an unpacked tree or a moved
# prefix works as well as the prefix it was configured for.
file(RELATIVE_PATH playersdk_pc_to_prefix ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" playersdk_pc_to_prefix "\${pcfiledir}/${playersdk_pc_to_prefix}")
file(RELATIVE_PATH playersdk_pc_libdir ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH playersdk_pc_includedir ${CMAKE_INSTALL_PREFIX}
     ${CMAKE_INSTALL_FULL_INCLUDEDIR}/playersdk)
get_target_property(PLAYERDECODER_VERSION PlayerDecoder VERSION)
foreach(pc playersdk playerdecoder)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${pc}.pc.in ${PROJECT_BINARY_DIR}/${pc}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT Development)
endforeach()

# CMake package: find_package(PlayerSDK) gives PlayerSDK::PlayerSDK and PlayerSDK::PlayerDecoder.
install(EXPORT PlayerSDKTargets NAMESPACE PlayerSDK:: DESTINATION ${PLAYERSDK_INSTALL_CMAKEDIR}
  COMPONENT Development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/PlayerSDKConfig.cmake.in
  ${PROJECT_BINARY_DIR}/PlayerSDKConfig.cmake INSTALL_DESTINATION ${PLAYERSDK_INSTALL_CMAKEDIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/PlayerSDKConfigVersion.cmake
  VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/PlayerSDKConfig.cmake
  ${PROJECT_BINARY_DIR}/PlayerSDKConfigVersion.cmake
  DESTINATION ${PLAYERSDK_INSTALL_CMAKEDIR} COMPONENT Development)
