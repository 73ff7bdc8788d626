# The zip archive for Windows (target `package`): complete, to be unpacked anywhere.
if(NOT WIN32)
  return()
endif()

# Beside the programs, where Windows looks first.
get_filename_component(CMNCRYPTO_OPENSSL_LIBRARIES "${OPENSSL_INCLUDE_DIR}/../bin" ABSOLUTE)
set(runtime_libraries
  "${CMNCRYPTO_OPENSSL_LIBRARIES}/libcrypto-3-x64.dll" "${CMNCRYPTO_OPENSSL_LIBRARIES}/libssl-3-x64.dll")
foreach(library IN ITEMS libstdc++-6 libgcc_s_seh-1 libwinpthread-1)
  execute_process(COMMAND "${CMAKE_CXX_COMPILER}" -print-file-name=${library}.dll
    OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  list(APPEND runtime_libraries "${path}")
endforeach()
install(FILES ${runtime_libraries} DESTINATION "${CMAKE_INSTALL_BINDIR}")
# Keys and bundles of older systems need it.
install(FILES "${CMNCRYPTO_OPENSSL_LIBRARIES}/ossl-modules/legacy.dll" DESTINATION "${CMAKE_INSTALL_BINDIR}/ossl-modules")

set(notices openssl gcc-mingw-w64-base mingw-w64-common libcli11-dev nlohmann-json3-dev)
foreach(package IN LISTS notices)
  if(EXISTS "/usr/share/doc/${package}/copyright")
    install(FILES "/usr/share/doc/${package}/copyright" DESTINATION licenses RENAME "${package}.txt")
  endif()
endforeach()
configure_file(packaging/README-windows.txt.in "${PROJECT_BINARY_DIR}/package/README.txt" @ONLY NEWLINE_STYLE DOS)
install(FILES "${PROJECT_BINARY_DIR}/package/README.txt" DESTINATION .)

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_FILE_NAME "${PROJECT_NAME}-${PROJECT_VERSION}-windows-x86_64")
set(CPACK_STRIP_FILES ON)
include(CPack)
