# Language, warnings, hardening and sanitizers for every target of the project.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
include(CheckPIESupported)
check_pie_supported()

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2 -Werror)
# Messages that name a source file name it as the project does, whatever the build folder.
add_compile_options("-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=")

set(CMNCRYPTO_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize= takes them")
if(CMNCRYPTO_SANITIZE)
  add_compile_options(-fsanitize=${CMNCRYPTO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${CMNCRYPTO_SANITIZE})
elseif(NOT WIN32)
  add_compile_options(-fstack-protector-strong "$<$<CONFIG:Release,RelWithDebInfo>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
  add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
endif()

option(CMNCRYPTO_UNITY "Compile the files of each folder as one, which is faster" OFF)
# Compiles the sources of a target folder by folder.
function(cmncrypto_unity target)
  if(NOT CMNCRYPTO_UNITY)
    return()
  endif()
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
  # What files keep to themselves stands in one scope then, and what one of them says of OpenSSL's headers comes late.
  target_compile_options(${target} PRIVATE -Wno-shadow -Wno-deprecated-declarations
    "$<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>")
  get_target_property(sources ${target} SOURCES)
  foreach(source ${sources})
    get_filename_component(folder "${source}" ABSOLUTE)
    get_filename_component(folder "${folder}" DIRECTORY)
    file(RELATIVE_PATH folder "${PROJECT_SOURCE_DIR}" "${folder}")
    string(MAKE_C_IDENTIFIER "${folder}" folder)
    # A large folder in several pieces, which compile side by side.
    math(EXPR count_${folder} "0${count_${folder}} + 1")
    math(EXPR piece "${count_${folder}} / 24")
    set_source_files_properties("${source}" PROPERTIES UNITY_GROUP "${folder}${piece}")
  endforeach()
endfunction()
