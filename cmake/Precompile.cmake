# Headers that a target's sources include over and over are compiled once, in the project's own builds. The sources still
# include what they use: builds with -DCMAKE_DISABLE_PRECOMPILE_HEADERS=ON show it.
function(bravic_precompile target)
  if(NOT BRAVIC_IS_TOP_LEVEL)
    return()
  endif()
  target_precompile_headers(${target} PRIVATE ${ARGN})
  # What ccache asks for (script/common sets the rest).
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:SHELL:-Xclang -fno-pch-timestamp>)
  else()
    target_compile_options(${target} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fpch-preprocess>)
  endif()
endfunction()
