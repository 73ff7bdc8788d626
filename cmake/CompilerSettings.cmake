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
