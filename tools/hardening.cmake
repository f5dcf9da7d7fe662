# What is shipped is made hard to attack: the targets of a directory that calls harden_here(). Not
# so where a sanitizer looks for the same faults, with a stack and checked functions of its own.
option(KWPKI_HARDENED "Build the library and the tool with the compiler's defences" ON)
if(CMAKE_CXX_FLAGS MATCHES "-fsanitize=")
  set(KWPKI_HARDENED OFF)
endif()

set(defences -fstack-protector-strong)
if(NOT WIN32)  # there the library brings the stack's guard itself, and the system has the rest
  include(CheckCXXCompilerFlag)
  include(CheckPIESupported)
  check_pie_supported()
  foreach(flag stack-clash-protection cf-protection)
    check_cxx_compiler_flag(-f${flag} KWPKI_HAS_${flag})
    if(KWPKI_HAS_${flag})
      list(APPEND defences -f${flag})
    endif()
  endforeach()
  if(NOT CMAKE_CXX_FLAGS MATCHES "_FORTIFY_SOURCE")  # which works on optimised code alone
    foreach(flag -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
      list(APPEND defences $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:${flag}>)
    endforeach()
  endif()
endif()

function(harden_here)
  if(NOT KWPKI_HARDENED)
    return()
  endif()
  add_compile_options(${defences})
  if(NOT WIN32)
    add_link_options(-Wl,-z,relro,-z,now)
  endif()
endfunction()
