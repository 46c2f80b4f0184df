# GoogleTest: Debian's packaged build natively; built from /usr/src/googletest where the
# packaged libraries do not fit (a 32-bit or sanitizer build).
if(CMAKE_SIZEOF_VOID_P EQUAL 4 OR FK_SANITIZE)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
  add_subdirectory(/usr/src/googletest ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
else()
  find_package(GTest REQUIRED)
endif()
include(GoogleTest)
