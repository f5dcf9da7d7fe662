# The ZIP for Windows: the installation, and what others have on their system or in their packages.
set(machine x86)
set(compiler i686-w64-mingw32-gcc)
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  set(machine x64)
  set(compiler x86_64-w64-mingw32-gcc)
endif()
set(CPACK_GENERATOR ZIP)
set(CPACK_MONOLITHIC_INSTALL ON)
set(CPACK_PACKAGE_FILE_NAME kwpki-${PROJECT_VERSION}-windows-${machine})

# add_text installs a text under another name, with the line ends of the system.
function(add_text source name)
  configure_file(${source} ${CMAKE_CURRENT_BINARY_DIR}/${name} @ONLY NEWLINE_STYLE CRLF)
  cmake_path(GET name PARENT_PATH folder)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name} DESTINATION ./${folder})
endfunction()
find_program(KWPKI_PANDOC pandoc)
if(KWPKI_PANDOC)
  set(readme ${CMAKE_CURRENT_BINARY_DIR}/README.txt)
  execute_process(COMMAND ${KWPKI_PANDOC} --from gfm --to plain --columns 80 --eol crlf
                          --output ${readme} ${PROJECT_SOURCE_DIR}/README.md
                  COMMAND_ERROR_IS_FATAL ANY)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/README.md)
  install(FILES ${readme} DESTINATION .)
endif()
add_text(${PROJECT_SOURCE_DIR}/LICENSE LICENSE.txt)
add_text(${PROJECT_SOURCE_DIR}/CHANGELOG.md CHANGELOG.txt)
add_text(examples.txt.in examples/BUILD.txt)
install(FILES ${PROJECT_SOURCE_DIR}/examples/readme.c ${PROJECT_SOURCE_DIR}/examples/inspect.c
        DESTINATION examples)
include(CPack)
