# What every target of ours is compiled with; link to tagsmith_options to get it.
add_library(tagsmith_options INTERFACE)
target_include_directories(tagsmith_options INTERFACE ${CMAKE_SOURCE_DIR})
target_compile_options(
  tagsmith_options
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wconversion
            -Wsign-conversion
            -Wshadow
            -Wold-style-cast
            -Wcast-qual
            -Woverloaded-virtual
            -Wformat=2
            -Wundef
            -Wduplicated-cond
            -Wlogical-op
            -Werror)

if(TAGSMITH_SANITIZE)
  set(sanitizers -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  # With the sanitizers' code in between, the compiler sees uninitialised values where none are.
  target_compile_options(tagsmith_options INTERFACE ${sanitizers} -Wno-maybe-uninitialized)
  target_link_options(tagsmith_options INTERFACE ${sanitizers})
endif()

if(NOT WIN32)
  # COM's interfaces have no virtual destructor.
  target_compile_options(tagsmith_options INTERFACE -Wnon-virtual-dtor)
endif()

if(WIN32)
  # No run-time library of the compiler may be needed beside what we ship.
  target_compile_definitions(tagsmith_options INTERFACE UNICODE _UNICODE WIN32_LEAN_AND_MEAN
                                                        NOMINMAX _WIN32_WINNT=0x0601)
  target_compile_options(tagsmith_options INTERFACE -ffunction-sections -fdata-sections)
  target_link_options(tagsmith_options INTERFACE -static -Wl,--gc-sections
                      -Wl,--no-insert-timestamp)
endif()
