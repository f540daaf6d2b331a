# Compiler settings shared by every target: the library, tests, tools and
# examples all compute results, so none of them may let the compiler fuse a
# multiply and an add (results must agree to the last bit on every machine).

if(CMAKE_C_COMPILER_ID MATCHES "GNU|Clang" OR CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
  add_compile_options(-ffp-contract=off -fno-fast-math -Wall -Wextra)
elseif(MSVC)
  # /fp:precise never contracts unless asked to; /utf-8 reads the sources
  # (whose comments quote the Chinese messages) as what they are.
  add_compile_options(/fp:precise /utf-8 /W3)
endif()

if(CORVEL_SANITIZE)
  if(MSVC)
    message(FATAL_ERROR "CORVEL_SANITIZE is for GCC and Clang")
  endif()
  add_compile_options(-fsanitize=${CORVEL_SANITIZE} -fno-omit-frame-pointer
                      -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${CORVEL_SANITIZE})
endif()
