# Target `docs`: the reference of the public headers and the pages of docs/ as HTML. Any warning fails it.
find_package(Doxygen QUIET)
if(DOXYGEN_FOUND)
  configure_file(docs/Doxyfile.in "${PROJECT_BINARY_DIR}/Doxyfile" @ONLY)
  add_custom_target(docs
    COMMAND Doxygen::doxygen "${PROJECT_BINARY_DIR}/Doxyfile"
    WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}"
    COMMENT "Writing the reference to ${PROJECT_BINARY_DIR}/docs/html"
    VERBATIM)
endif()
