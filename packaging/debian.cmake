# The packages of Debian. Each holds its copyright and change log, as Debian's policy wants; the
# library's tells others, besides, from which version on they can use it, and has the loader's cache
# renewed.
set(version ${PROJECT_VERSION})
set(CPACK_GENERATOR DEB)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each has its own

# add_package(COMPONENT NAME SECTION SUMMARY TEXT DEPENDS)
set(CPACK_COMPONENTS_ALL "")
function(add_package component name section summary text depends)
  string(TOUPPER ${component} upper)
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${text}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
  # Its change log is in Debian's form and says what this version is; what changed is ours to tell.
  string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
  set(folder ${CMAKE_CURRENT_BINARY_DIR}/${name})
  configure_file(debian/changelog.in ${folder}/changelog @ONLY)
  execute_process(COMMAND gzip -9nf ${folder}/changelog COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${folder}/changelog.gz debian/copyright COMPONENT ${component}
          DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name})
endfunction()

set(what "KwPki reads X.509 certificates and CRLs from strangers, and asks a certificate\n\
service for more of them through the management agent of its host.")
add_package(runtime libkwpki1 libs "PKI client library: certificates, CRLs and searches"
            "${what}\n.\nThis package holds the library in its two profiles, classic and modern."
            "libc6 (>= 2.36), libgcc-s1 (>= 3.0), libstdc++6 (>= 12)")
# Where CPack looks for what a library needs it also writes scripts that call ldconfig, beside the
# trigger. What the library needs is the same in all of Debian 12.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS OFF)
add_package(dev libkwpki-dev libdevel "PKI client library, for developers"
            "${what}\n.\nThis package holds the header and what pkg-config and CMake need."
            "libkwpki1 (= ${version})")
add_package(tool kwpki utils "tool that shows and verifies certificates and CRLs"
            "kwpki tells what certificates and CRLs say, to people and as JSON, verifies who\n\
signed them, and searches a certificate service." "")
if(KWPKI_LOOPBACK)
  get_cmake_property(components COMPONENTS)
  if("loopback" IN_LIST components)
    add_package(loopback libkwpki-loopback libdevel "certificate service for trying out KwPki"
                "A management agent and a certificate service over an SQLite file, in the\n\
process of a program: what KwPki asks where there is no host." "libkwpki-dev (= ${version})")
  endif()
endif()

set(control ${CMAKE_CURRENT_BINARY_DIR}/control)
file(STRINGS ${PROJECT_SOURCE_DIR}/src/api/exports.txt names)
set(symbols "")
set(shlibs "")
foreach(library IN ITEMS libKwPki libKwPkiModern)
  string(APPEND shlibs "${library} 1 libkwpki1 (>= ${version})\n")
  string(APPEND symbols "${library}.so.1 libkwpki1 #MINVER#\n KWPKI_1@KWPKI_1 0.2.0\n")
  foreach(name IN LISTS names)
    string(APPEND symbols " ${name}@KWPKI_1 0.2.0\n")
  endforeach()
endforeach()
file(CONFIGURE OUTPUT ${control}/shlibs CONTENT "${shlibs}" @ONLY)
file(CONFIGURE OUTPUT ${control}/symbols CONTENT "${symbols}" @ONLY)
file(CONFIGURE OUTPUT ${control}/triggers CONTENT "activate-noawait ldconfig\n" @ONLY)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
    ${control}/shlibs ${control}/symbols ${control}/triggers)
include(CPack)
