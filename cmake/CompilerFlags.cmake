# What every target of this project is compiled with, as one interface target.
add_library(desk_flags INTERFACE)

target_compile_options(desk_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wcast-qual -Wswitch-enum
  $<$<BOOL:${DESKREADER_WERROR}>:-Werror>)

if(DESKREADER_SANITIZE)
  target_compile_options(desk_flags INTERFACE
    -fsanitize=${DESKREADER_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(desk_flags INTERFACE -fsanitize=${DESKREADER_SANITIZE})
endif()

if(DESKREADER_COVERAGE)
  target_compile_options(desk_flags INTERFACE --coverage -fprofile-update=atomic)
  target_link_options(desk_flags INTERFACE --coverage)
endif()

if(DESKREADER_FUZZ)
  # A function that is a part of another one cannot be counted as reached.
  target_compile_options(desk_flags INTERFACE -fsanitize=fuzzer-no-link -finline-hint-functions)
endif()
