# Warnings and sanitizers that every target of this project is compiled with.
add_library(vematrix_warnings INTERFACE)
target_compile_options(vematrix_warnings INTERFACE -Wall -Wextra -Wpedantic)
if(VEMATRIX_WERROR)
  target_compile_options(vematrix_warnings INTERFACE -Werror)
endif()
if(VEMATRIX_SANITIZE)
  target_compile_options(vematrix_warnings INTERFACE
    -fsanitize=${VEMATRIX_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(vematrix_warnings INTERFACE -fsanitize=${VEMATRIX_SANITIZE})
endif()
