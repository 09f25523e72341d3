# Warnings are errors, for the code of this project only. Not with MSVC, until somebody has built it once and knows what it
# warns of: a first build must not end at the first of them.
add_library(warnings INTERFACE)
if(MSVC)
  target_compile_options(warnings INTERFACE /W4 /permissive- /utf-8 /Zc:__cplusplus /EHsc)
else()
  target_compile_options(warnings INTERFACE
    -Wall -Wextra -pedantic-errors -Werror -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor
    -Woverloaded-virtual -Wcast-align -Wswitch-enum -Wimplicit-fallthrough)
endif()

# Optimising, g++ 12 sees overlapping copies in std::string's own code ("a" + std::move(text)).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(warnings INTERFACE $<$<NOT:$<CONFIG:Debug>>:-Wno-restrict>)
endif()

if(NUVRUSB_SANITIZE)
  target_compile_options(warnings INTERFACE -fsanitize=${NUVRUSB_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  # Looking for undefined behaviour makes a third of a compilation. What is tested is worth it, the tests are not.
  target_compile_options(warnings INTERFACE $<$<BOOL:$<TARGET_PROPERTY:NUVRUSB_IS_TEST>>:-fno-sanitize=undefined>)
  target_link_options(warnings INTERFACE -fsanitize=${NUVRUSB_SANITIZE})
endif()
