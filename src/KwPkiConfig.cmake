# The targets of KwPki: KwPki::KwPki, KwPki::Modern and, where it is installed, KwPki::Loopback. Each
# is a component by its own name.
include(${CMAKE_CURRENT_LIST_DIR}/KwPkiTargets.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/KwPkiLoopback.cmake OPTIONAL)
foreach(component IN LISTS KwPki_FIND_COMPONENTS)
  if(TARGET KwPki::${component})
    set(KwPki_${component}_FOUND TRUE)
  elseif(KwPki_FIND_REQUIRED_${component})
    set(KwPki_FOUND FALSE)
    set(KwPki_NOT_FOUND_MESSAGE "KwPki has no component ${component} here")
  endif()
endforeach()
