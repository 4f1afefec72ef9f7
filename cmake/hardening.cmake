# What the compiler and linker add against the faults that none of us has found yet. Directory-wide,
# so that what is compiled in of other projects has it too. The test `export_table` reads it from
# the built library. What the linker does for the DLL stands in src/CMakeLists.txt.
include(CheckCXXCompilerFlag)

if(NOT WIN32)
  add_compile_options(-fstack-protector-strong)
  check_cxx_compiler_flag(-fcf-protection ZVEVENT_HAS_CF_PROTECTION)
  if(ZVEVENT_HAS_CF_PROTECTION)
    add_compile_options(-fcf-protection)
  endif()
  # Checks sizes by what the optimiser knows; sanitizers do the same themselves, and in its way.
  if(NOT ZVEVENT_SANITIZE AND NOT CMAKE_BUILD_TYPE STREQUAL Debug)
    set(ZVEVENT_FORTIFIED ON)
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
  endif()
  add_link_options(LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack LINKER:-z,text)
elseif(MINGW AND NOT ZVEVENT_SANITIZE)
  add_compile_options(-fstack-protector-strong)
  if(NOT CMAKE_BUILD_TYPE STREQUAL Debug)
    set(ZVEVENT_FORTIFIED ON)
    add_compile_options(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3)
  endif()
  # Both call a library of the compiler's, which goes into the DLL as the rest of its runtime does.
  # Who links the installed DLL needs none of it.
  link_libraries($<BUILD_INTERFACE:ssp>)
endif()
