# What an integrator gets: the contract, the component, and the reference framework library and allocator, as the package
# DecodingManager.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/DecodingManager)
set(COMPONENT_PATH ${CMAKE_INSTALL_LIBDIR}/decoding-manager/${CMAKE_SHARED_MODULE_PREFIX}DecodingManager${CMAKE_SHARED_MODULE_SUFFIX})

install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/decoding-manager)
install(FILES src/cpuload/QEvent_CpuLoad.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/decoding-manager)
install(TARGETS modkit_contract modkit slab EXPORT DecodingManagerTargets)
install(TARGETS DecodingManager LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/decoding-manager)
set_target_properties(DecodingManager PROPERTIES INSTALL_RPATH "$ORIGIN/..")
set_target_properties(modkit PROPERTIES INSTALL_RPATH "$ORIGIN")

install(EXPORT DecodingManagerTargets NAMESPACE DecodingManager:: DESTINATION ${PACKAGE_DIR})
configure_package_config_file(cmake/DecodingManagerConfig.cmake.in ${PROJECT_BINARY_DIR}/DecodingManagerConfig.cmake
    INSTALL_DESTINATION ${PACKAGE_DIR}
    PATH_VARS COMPONENT_PATH)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/DecodingManagerConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/DecodingManagerConfig.cmake ${PROJECT_BINARY_DIR}/DecodingManagerConfigVersion.cmake
    DESTINATION ${PACKAGE_DIR})
