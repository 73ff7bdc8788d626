# The command for Windows. Tests that need nothing of POSIX run as they are, through a script that runs it; the others
# have modes, links, limits and descriptors of POSIX in them. A limit would also become that of Wine's server, for all.
# Python is named by its path: as a target of CMake's it would be run under Wine, which finds no fault in any test.
set(command "${CMAKE_CURRENT_BINARY_DIR}/cmncrypto")
list(GET CMAKE_CROSSCOMPILING_EMULATOR -1 wine)
file(GENERATE OUTPUT "${command}" CONTENT "#!/bin/sh
WINEPATH='$<TARGET_FILE_DIR:cmncryptocore>' exec '${wine}' '$<TARGET_FILE:cmncrypto>' \"$@\"
" FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)

set(windows_groups Names Process)
set(command_groups Hash.test_digests_agree_with_hashlib Hash.test_answers Interoperation Report)
set(certificate_groups Chain.test_links Chain.test_saving_and_splitting)
set(key_groups Requests.test_requests_of_others Bundles.test_packing)
set(revocation_groups Verification.test_evidence_and_inputs)
set(store_groups Stores.test_explain Stores.test_time_lag Changes.test_verify)
set(fips_groups With.test_states_and_answers Without)
set(tls_groups Probing.test_offers_of_servers Probing.test_authorities_for_other_purposes Serving.test_certificates_of_clients Serving.test_many_at_once_and_a_signal)
foreach(area IN ITEMS windows command certificate key revocation store tls fips)
  foreach(group IN LISTS ${area}_groups)
    add_test(NAME ${area}.${group}
      COMMAND "${Python3_EXECUTABLE}" "${CMAKE_CURRENT_SOURCE_DIR}/${area}_test.py" "${command}" ${group})
    set_tests_properties(${area}.${group} PROPERTIES TIMEOUT 600)
  endforeach()
endforeach()

foreach(group IN LISTS fips_groups)
  set_tests_properties(fips.${group} PROPERTIES SKIP_RETURN_CODE 77 LABELS fips
    ENVIRONMENT "CMNCRYPTO_FIPS_PROVIDER=${PROJECT_SOURCE_DIR}/build/openssl/windows")
endforeach()

# The archive, unpacked elsewhere, where nothing but itself is found.
add_test(NAME windows-package.make
  COMMAND "${CMAKE_CPACK_COMMAND}" --config "${PROJECT_BINARY_DIR}/CPackConfig.cmake" -B "${PROJECT_BINARY_DIR}/package")
add_test(NAME windows-package
  COMMAND "${Python3_EXECUTABLE}" "${CMAKE_CURRENT_SOURCE_DIR}/windows_test.py" "${command}" Package)
set_tests_properties(windows-package.make PROPERTIES FIXTURES_SETUP windows-package TIMEOUT 600)
set_tests_properties(windows-package PROPERTIES FIXTURES_REQUIRED windows-package TIMEOUT 600 ENVIRONMENT
  "PACKAGE=${PROJECT_BINARY_DIR}/package/${CMAKE_PROJECT_NAME}-${PROJECT_VERSION}-windows-x86_64.zip;TOOLCHAIN=${CMAKE_TOOLCHAIN_FILE}")
