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

# On 32-bit processors of this family the old floating-point unit keeps more digits than a float
# has, and the samples are defined by separate roundings.
if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "^(i[3-6]86|x86)$")
  add_compile_options(-msse2 -mfpmath=sse)
  if(WIN32)
    # Callers keep the stack at a multiple of 4, and vectors want 16.
    add_compile_options(-mstackrealign)
  else()
    add_compile_definitions(_FILE_OFFSET_BITS=64)
  endif()
endif()
