# What an integrator gets: the contract, the component, and those of the framework library and the allocator that are
# the reference ones, as the package DecodingManager; for Windows also as a zip.
include(CMakePackageConfigHelpers)

set(PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/DecodingManager)
set(EXAMPLE_DIR ${CMAKE_INSTALL_DATADIR}/decoding-manager/example)
if(WIN32)
    set(COMPONENT_DIR ${CMAKE_INSTALL_BINDIR}) # beside the libraries that it needs
else()
    set(COMPONENT_DIR ${CMAKE_INSTALL_LIBDIR}/decoding-manager)
endif()
set(COMPONENT_PATH ${COMPONENT_DIR}/${CMAKE_SHARED_MODULE_PREFIX}DecodingManager${CMAKE_SHARED_MODULE_SUFFIX})

install(DIRECTORY include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/decoding-manager)
install(FILES src/cpuload/QEvent_CpuLoad.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/decoding-manager)
install(DIRECTORY example/ DESTINATION ${EXAMPLE_DIR})
install(TARGETS modkit_contract EXPORT DecodingManagerTargets)
install(TARGETS DecodingManager LIBRARY DESTINATION ${COMPONENT_DIR})
set_target_properties(DecodingManager PROPERTIES INSTALL_RPATH "$ORIGIN/..")
if(NOT MODKIT_LIBRARY)
    install(TARGETS modkit EXPORT DecodingManagerTargets)
endif()
if(NOT SLAB_LIBRARY)
    install(TARGETS slab EXPORT DecodingManagerTargets)
endif()

if(TARGET decoding)
    install(TARGETS decoding EXPORT DecodingTargets LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
    install(DIRECTORY host/session/decoding/ ${PROJECT_BINARY_DIR}/include/decoding/
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/decoding FILES_MATCHING PATTERN "*.h")
    install(EXPORT DecodingTargets NAMESPACE DecodingManager:: DESTINATION ${PACKAGE_DIR})
    set_target_properties(decoding PROPERTIES INSTALL_RPATH "$ORIGIN")
endif()

install(EXPORT DecodingManagerTargets NAMESPACE DecodingManager:: DESTINATION ${PACKAGE_DIR})
configure_package_config_file(cmake/DecodingManagerConfig.cmake.in ${PROJECT_BINARY_DIR}/DecodingManagerConfig.cmake
    INSTALL_DESTINATION ${PACKAGE_DIR}
    PATH_VARS COMPONENT_PATH)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/DecodingManagerConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/DecodingManagerConfig.cmake
    ${PROJECT_BINARY_DIR}/DecodingManagerConfigVersion.cmake
    DESTINATION ${PACKAGE_DIR})

if(WIN32)
    set(CPACK_GENERATOR ZIP)
    set(CPACK_PACKAGE_FILE_NAME decoding-manager-${PROJECT_VERSION}-windows-x86_64)
    set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Decodes the audio and video streams of a host process")
    set(CPACK_STRIP_FILES ON)
    include(CPack)
endif()
