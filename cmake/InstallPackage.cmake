# What `cmake --install` puts where, and how other projects find it: a CMake package and a pkg-config file.
# Both name places relative to themselves, so that an installed tree may be moved.
include(CMakePackageConfigHelpers)

set(CMNCRYPTO_PACKAGE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/cmncryptocore")

install(TARGETS cmncryptocore EXPORT cmncryptocoreTargets
  RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/cmncrypto" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
  FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")

if(TARGET cmncrypto)
  # The command finds its library next to itself, in any prefix.
  file(RELATIVE_PATH CMNCRYPTO_BIN_TO_LIB "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}")
  set_target_properties(cmncrypto PROPERTIES INSTALL_RPATH "$ORIGIN/${CMNCRYPTO_BIN_TO_LIB}")
  install(TARGETS cmncrypto RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
endif()

install(EXPORT cmncryptocoreTargets NAMESPACE cmncrypto:: DESTINATION "${CMNCRYPTO_PACKAGE_DIR}")
configure_package_config_file(packaging/cmncryptocoreConfig.cmake.in
  "${PROJECT_BINARY_DIR}/package/cmncryptocoreConfig.cmake"
  INSTALL_DESTINATION "${CMNCRYPTO_PACKAGE_DIR}"
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/package/cmncryptocoreConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/package/cmncryptocoreConfig.cmake"
  "${PROJECT_BINARY_DIR}/package/cmncryptocoreConfigVersion.cmake"
  DESTINATION "${CMNCRYPTO_PACKAGE_DIR}")

file(RELATIVE_PATH CMNCRYPTO_PC_TO_PREFIX
  "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
cmake_path(SET CMNCRYPTO_PC_TO_PREFIX NORMALIZE "${CMNCRYPTO_PC_TO_PREFIX}")
configure_file(packaging/cmncryptocore.pc.in "${PROJECT_BINARY_DIR}/package/cmncryptocore.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/package/cmncryptocore.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")

include(WindowsPackage)
