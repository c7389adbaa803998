# Warnings and sanitizers that all targets share, and what C++ needs at run time.

# The libraries that the C++ compiler links by itself and a C compiler does not.
set(wbx_cxx_runtime ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
list(FILTER wbx_cxx_runtime INCLUDE REGEX "^(std)?c\\+\\+|^m$")
list(REMOVE_DUPLICATES wbx_cxx_runtime)

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow)
add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>)
if(WBX_WERROR)
  add_compile_options(-Werror)
endif()

if(WBX_SANITIZE)
  add_compile_options(-fsanitize=${WBX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
  add_link_options(-fsanitize=${WBX_SANITIZE})
endif()

if(WBX_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()
