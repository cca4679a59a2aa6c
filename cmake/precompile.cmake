# Precompiled headers, with HEVRA_PRECOMPILE in debug builds: those of the standard library and of other projects. Our own headers are not
# among them, because a change of one would compile all sources again. The packages and clang-tidy build without, and so find
# an include that is missing.
if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")  # elsewhere some rooms have an optimisation of their own
  set(HEVRA_PRECOMPILE OFF)
endif()
if(HEVRA_PRECOMPILE AND CMAKE_CXX_COMPILER_ID MATCHES Clang)  # ccache needs these options
  add_compile_options("SHELL:-Xclang -fno-pch-timestamp")
elseif(HEVRA_PRECOMPILE)
  # GCC 12 warns of its own std::string if that is precompiled; the builds without keep these warnings.
  add_compile_options(-fpch-preprocess -Wno-array-bounds -Wno-stringop-overflow -Wno-stringop-overread)
endif()

# Precompiles common headers and ARGN for `target`.
function(hevra_precompile target)
  if(HEVRA_PRECOMPILE)
    target_precompile_headers(${target} PRIVATE <algorithm> <atomic> <functional> <map> <memory> <mutex> <optional> <string>
      <string_view> <utility> <vector> ${ARGN})
  endif()
endfunction()

# Lets `target` use the headers of `owner`, which has the same options and definitions.
function(hevra_precompiled_in target owner)
  if(HEVRA_PRECOMPILE)
    target_precompile_headers(${target} REUSE_FROM ${owner})
  endif()
endfunction()
