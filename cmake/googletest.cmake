# GoogleTest as the targets GTest::gtest and GTest::gtest_main: the installed package, or where there
# is none for the target system, as in a cross build, from source.
include(FetchContent)
set(TAGSMITH_GOOGLETEST_SOURCE /usr/src/googletest CACHE PATH "Sources of GoogleTest")
set(BUILD_GMOCK OFF)
set(INSTALL_GTEST OFF)
FetchContent_Declare(googletest SOURCE_DIR ${TAGSMITH_GOOGLETEST_SOURCE} SYSTEM
                     FIND_PACKAGE_ARGS NAMES GTest)
# For the tests alone, which its optimisation would hold up.
block()
  set(CMAKE_CXX_FLAGS_RELWITHDEBINFO -O1)
  FetchContent_MakeAvailable(googletest)
endblock()
