# What is installed beside the program and the plug-in: headers, libraries, a CMake package and a
# pkg-config file for embedding hosts, manual pages, completions; and the Debian package of it all.
include(CMakePackageConfigHelpers)

set(library_targets quarle_options zef_platform zef_kernel zef_standard zef_resource
  quarle_tagdata quarle_environment quarle_database quarle_plugin)
target_include_directories(quarle_options INTERFACE
  "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>" "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>" "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/quarle>")

install(TARGETS ${library_targets} EXPORT QuarleTargets
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}/quarle")
install(EXPORT QuarleTargets NAMESPACE Quarle:: DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/Quarle")
foreach(folder kernel tagdata environment database plugin)
  install(DIRECTORY ${folder} DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/quarle"
    FILES_MATCHING PATTERN "*.h" PATTERN posix EXCLUDE)
endforeach()

set(QUARLE_DATA_DIR "${CMAKE_INSTALL_DATADIR}/quarle/data")
set(QUARLE_PLUGIN "${CMAKE_INSTALL_LIBDIR}/quarle/gne_d.so")
configure_package_config_file(cmake/QuarleConfig.cmake.in QuarleConfig.cmake
  INSTALL_DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/Quarle" PATH_VARS QUARLE_DATA_DIR QUARLE_PLUGIN)
write_basic_package_version_file(QuarleConfigVersion.cmake COMPATIBILITY SameMinorVersion)
configure_file(cmake/quarle.pc.in quarle.pc @ONLY)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/QuarleConfig.cmake"
  "${CMAKE_CURRENT_BINARY_DIR}/QuarleConfigVersion.cmake"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/Quarle")
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/quarle.pc"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

install(FILES apps/quarle/completion/quarle.bash RENAME quarle
  DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
install(FILES apps/quarle/completion/_quarle
  DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions")

find_program(HELP2MAN help2man)
if(HELP2MAN)
  set(man_folder "${PROJECT_BINARY_DIR}/man")
  add_custom_command(OUTPUT "${man_folder}/quarle.1.gz"
    COMMAND "${PROJECT_SOURCE_DIR}/scripts/manpages.sh" "$<TARGET_FILE:quarle>" "${man_folder}"
    DEPENDS quarle scripts/manpages.sh VERBATIM)
  add_custom_target(manual ALL DEPENDS "${man_folder}/quarle.1.gz")
  install(DIRECTORY "${man_folder}/" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1")
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quarle)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Asset library and content patching for a rail simulator")
set(CPACK_PACKAGE_CONTACT "Quarle maintainers <maintainers@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_STRIP_FILES ON)
include(CPack)
