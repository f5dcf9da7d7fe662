# Dates every file that is packed by SOURCE_DATE_EPOCH.
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  file(GLOB_RECURSE files LIST_DIRECTORIES true ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*)
  foreach(file IN LISTS files)
    execute_process(COMMAND touch --no-dereference --date=@$ENV{SOURCE_DATE_EPOCH} ${file}
                    COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
endif()
