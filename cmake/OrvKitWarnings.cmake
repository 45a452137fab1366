function(orvkit_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
  # Qt's qCDebug(category) << ... leaves its variadic macro arguments empty,
  # which clang's pedantic mode reports before C++20.
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(${target} PRIVATE -Wno-gnu-zero-variadic-macro-arguments)
  endif()
  if(ORVKIT_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
option(ORVKIT_WERROR "Treat warnings as errors" OFF)
