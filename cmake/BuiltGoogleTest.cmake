# GoogleTest: the installed one, or in a cross build one built from the sources that the system's package brings.
if(CMAKE_CROSSCOMPILING)
  find_path(NUVRUSB_GTEST_SOURCES googletest/include/gtest/gtest.h PATHS /usr/src/googletest
    NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  add_subdirectory(${NUVRUSB_GTEST_SOURCES} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
  # A list of tests needs a program that runs, and so what runs it, which need not be ready during the build.
  set(CMAKE_GTEST_DISCOVER_TESTS_DISCOVERY_MODE PRE_TEST)
else()
  find_package(GTest REQUIRED)
endif()
