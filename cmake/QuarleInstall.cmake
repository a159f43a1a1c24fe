# What an embedding host gets: headers, libraries, a CMake package and a pkg-config file.
include(CMakePackageConfigHelpers)

set(library_targets quarle_options zef_platform zef_kernel zef_standard zef_resource
  quarle_tagdata quarle_environment quarle_database quarle_plugin)
target_include_directories(quarle_options INTERFACE
  "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>" "$<INSTALL_INTERFACE:include/quarle>")

install(TARGETS ${library_targets} EXPORT QuarleTargets
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}/quarle")
install(EXPORT QuarleTargets NAMESPACE Quarle:: DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/Quarle")
foreach(folder kernel tagdata environment database plugin)
  install(DIRECTORY ${folder} DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/quarle"
    FILES_MATCHING PATTERN "*.h")
endforeach()

set(QUARLE_DATA_DIR "${CMAKE_INSTALL_DATADIR}/quarle/data")
configure_package_config_file(cmake/QuarleConfig.cmake.in QuarleConfig.cmake
  INSTALL_DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/Quarle" PATH_VARS QUARLE_DATA_DIR)
write_basic_package_version_file(QuarleConfigVersion.cmake COMPATIBILITY SameMinorVersion)
configure_file(cmake/quarle.pc.in quarle.pc @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/QuarleConfig.cmake"
  "${CMAKE_CURRENT_BINARY_DIR}/QuarleConfigVersion.cmake"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/Quarle")
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/quarle.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
