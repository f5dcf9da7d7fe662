# The exports of KwPki.dll, classic and modern: plain names, in 32 bits of stdcall functions. What is
# made here:
#   exports.def       what the DLL is linked with, and libKwPki.dll.a made from
#   lib/KwPki.def     for `lib /def:KwPki.def /machine:x86` (or x64) of another compiler
#   KwPki.rc          the version resource
#
# A name's decoration is the octets of its arguments, and each argument takes four: so many as the
# header declares. A wrong number does not link. In 64 bits there is none. The place in exports.txt is
# the ordinal.
file(READ ${PROJECT_SOURCE_DIR}/include/kwpki.h header)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/kwpki.h)
set(ordinal 0)
foreach(name IN LISTS names)
  if(NOT header MATCHES "KWPKI_CALL +${name}\\(([^)]*)\\)")
    message(FATAL_ERROR "kwpki.h does not declare ${name}, which is in exports.txt")
  endif()
  set(octets 0)
  if(NOT CMAKE_MATCH_1 STREQUAL "void")
    string(REGEX REPLACE "[^,]" "" commas "${CMAKE_MATCH_1}")
    string(LENGTH "${commas}x" octets)
    math(EXPR octets "4 * ${octets}")
  endif()
  set(decoration "")
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(decoration @${octets})
  endif()
  math(EXPR ordinal "${ordinal} + 1")
  string(APPEND by_name "  ${name}${decoration} @${ordinal}\n")
  # Such a library would look for the decorated name; it has to go by the ordinal.
  string(APPEND by_ordinal "  ${name}${decoration} @${ordinal} NONAME\n")
endforeach()

set(definition ${CMAKE_CURRENT_BINARY_DIR}/exports.def)
file(CONFIGURE OUTPUT ${definition} CONTENT "LIBRARY KwPki.dll\nEXPORTS\n${by_name}")
file(CONFIGURE OUTPUT ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/KwPki.def
     CONTENT "LIBRARY KwPki.dll\nEXPORTS\n${by_ordinal}")
set(file KwPki.dll)
set(type VFT_DLL)
set(manifest "")
configure_file(KwPki.rc.in KwPki.rc @ONLY)

install(FILES ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/KwPki.def TYPE LIB COMPONENT dev)

function(export_as_dll library folder)
  target_sources(${library} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/KwPki.rc ${definition})
  target_link_options(${library} PRIVATE -Wl,--kill-at)
  set_target_properties(${library} PROPERTIES
    PREFIX "" OUTPUT_NAME KwPki
    RUNTIME_OUTPUT_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${folder}
    ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/${folder})

  # The linker's own import library has undecorated names, which no client's calls refer to. The path
  # of the output gets into it, so that it has to be relative.
  add_custom_command(TARGET ${library} POST_BUILD
    COMMAND ${CMAKE_COMMAND} -E chdir $<TARGET_LINKER_FILE_DIR:${library}>
            ${CMAKE_DLLTOOL} --kill-at --deterministic-libraries --temp-prefix ${library}
            --input-def ${definition} --output-lib $<TARGET_LINKER_FILE_NAME:${library}>
    VERBATIM)
endfunction()
