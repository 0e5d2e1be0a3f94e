# What our own targets are compiled and linked with. The options hold for this folder and those below
# it only: a project that links the libraries gets none of them.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)

add_compile_options(
  -Wall
  -Wextra
  -Wpedantic
  -Wconversion
  -Wsign-conversion
  -Wshadow
  -Wold-style-cast
  -Wcast-qual
  -Woverloaded-virtual
  -Wformat=2
  -Wundef)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
  add_compile_options(-Wduplicated-cond -Wlogical-op)
endif()
if(PROJECT_IS_TOP_LEVEL)
  # Not in another project, whose newer compiler may know new warnings.
  add_compile_options(-Werror)
endif()

if(TAGSMITH_SANITIZE)
  # With -O2 the compiler takes twice as long for the sanitizers' code.
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all
                      -fno-omit-frame-pointer -O1)
  add_link_options(-fsanitize=address,undefined)
  if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    add_compile_options(-w)  # it warns of what is not there when that code is in between
  endif()
endif()
if(TAGSMITH_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link -fprofile-instr-generate -fcoverage-mapping)
  add_link_options(-fprofile-instr-generate)
endif()

if(WIN32)
  add_compile_definitions(UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0601)
  add_compile_definitions(_FORTIFY_SOURCE=2)
  add_compile_options(-ffunction-sections -fdata-sections -fstack-protector-strong)
  # Statically: no run-time library of the compiler may be needed beside what we ship.
  add_link_options(-static -Wl,--gc-sections -Wl,--no-insert-timestamp)
else()
  # COM's interfaces have no virtual destructor.
  add_compile_options(-Wnon-virtual-dtor)
endif()
