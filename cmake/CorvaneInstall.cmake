# cmake --install: static libraries, public headers and a package for find_package(Corvane).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(adapters asio curl drive keychain libsecret nlohmann oauth portal simdjson spdlog sqlite utf8proc)
list(TRANSFORM adapters PREPEND corvane_linux_)
set_target_properties(corvane_host PROPERTIES EXPORT_NAME Corvane)

install(TARGETS corvane_host corvane_vocabulary corvane_interfaces corvane_module corvane_linux ${adapters}
  EXPORT CorvaneTargets
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  FILE_SET corvane_public DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
  FILE_SET corvane_platform DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
  FILE_SET corvane_linux_public DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(EXPORT CorvaneTargets NAMESPACE Corvane:: DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/Corvane")

configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/CorvaneConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/CorvaneConfig.cmake"
  INSTALL_DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/Corvane")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/CorvaneConfigVersion.cmake" COMPATIBILITY SameMinorVersion)
install(FILES "${PROJECT_BINARY_DIR}/CorvaneConfig.cmake" "${PROJECT_BINARY_DIR}/CorvaneConfigVersion.cmake"
  DESTINATION "${CMAKE_INSTALL_LIBDIR}/cmake/Corvane")
if(CORVANE_CLI)
  install(TARGETS corvane RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
endif()
