# Warnings and sanitizers that all targets share.

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
