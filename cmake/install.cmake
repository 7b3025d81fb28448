# Installs the headers (C and C++), the library with its SONAME links, a CMake package
# (find_package(vortan) gives vortan::vortan) and a pkg-config file.
include(CMakePackageConfigHelpers)

set(vortan_cmake_dir "${CMAKE_INSTALL_LIBDIR}/cmake/vortan")

install(TARGETS vortan EXPORT vortanTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
  PUBLIC_HEADER DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
# The C++ layer is header-only over the same library.
install(FILES "${PROJECT_SOURCE_DIR}/include/vortan.hpp" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
install(EXPORT vortanTargets NAMESPACE vortan:: DESTINATION "${vortan_cmake_dir}")

configure_package_config_file(cmake/vortanConfig.cmake.in
  "${PROJECT_BINARY_DIR}/vortanConfig.cmake"
  INSTALL_DESTINATION "${vortan_cmake_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/vortanConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/vortanConfig.cmake" "${PROJECT_BINARY_DIR}/vortanConfigVersion.cmake"
  DESTINATION "${vortan_cmake_dir}")

# Relative to the .pc file, so that an install under another --prefix still works.
file(RELATIVE_PATH vortan_pc_to_prefix
  "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
configure_file(cmake/vortan.pc.in "${PROJECT_BINARY_DIR}/vortan.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/vortan.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
