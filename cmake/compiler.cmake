# Compiler settings shared by every target: warnings are errors, and AZS_SANITIZE ("address,undefined", ...)
# instruments the whole build.
set(AZS_SANITIZE "" CACHE STRING "sanitizers for -fsanitize=, comma separated")

add_compile_options(
  -Wall -Wextra -Wpedantic -Werror -Wshadow -Wformat=2 -Wconversion -Wsign-conversion -Wcast-qual
  -Wnull-dereference -Wundef
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
  # g++ 12 sees overlapping copies in any optimised "x" + std::string (GCC bug 105651).
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<COMPILE_LANGUAGE:CXX>>:-Wno-restrict>)
add_compile_options(-fvisibility=hidden $<$<COMPILE_LANGUAGE:CXX>:-fvisibility-inlines-hidden>)
add_compile_options(-fstack-protector-strong $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)

if(AZS_SANITIZE)
  add_compile_options(-fsanitize=${AZS_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -U_FORTIFY_SOURCE)
  add_link_options(-fsanitize=${AZS_SANITIZE})
endif()

if(AZS_FUZZ)
  # Coverage for libFuzzer in everything that a target reaches.
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
