# Installs the libraries, their public headers and the LithmarExchange CMake package.
include(CMakePackageConfigHelpers)

set(_config_dir ${CMAKE_INSTALL_LIBDIR}/cmake/LithmarExchange)

install(TARGETS lithmar_runtime lithmar_socket lithmar_exchange EXPORT LithmarExchangeTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

# Public headers sit next to their sources; internal ones live in detail/ folders.
install(DIRECTORY lithmar/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lithmar
  FILES_MATCHING PATTERN "*.h"
  PATTERN "detail" EXCLUDE)
install(DIRECTORY ${PROJECT_BINARY_DIR}/include/lithmar/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/lithmar
  FILES_MATCHING PATTERN "*.h")

install(EXPORT LithmarExchangeTargets NAMESPACE Lithmar:: DESTINATION ${_config_dir})

configure_package_config_file(cmake/LithmarExchangeConfig.cmake.in
  ${PROJECT_BINARY_DIR}/LithmarExchangeConfig.cmake INSTALL_DESTINATION ${_config_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/LithmarExchangeConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/LithmarExchangeConfig.cmake
  ${PROJECT_BINARY_DIR}/LithmarExchangeConfigVersion.cmake DESTINATION ${_config_dir})
