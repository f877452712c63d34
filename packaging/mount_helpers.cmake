# mount(8) looks for the program of a type in /sbin, wherever the rest is installed. TOVRIN_PROGRAM_FOLDER is that of
# the command, below the prefix that only the time of installing knows.
execute_process(COMMAND "${CMAKE_COMMAND}" -E make_directory "$ENV{DESTDIR}/sbin" ERROR_QUIET)
foreach(name IN ITEMS mount.tovrin mount.fuse.tovrin)
  set(link "$ENV{DESTDIR}/sbin/${name}")
  file(CREATE_LINK "${CMAKE_INSTALL_PREFIX}/${TOVRIN_PROGRAM_FOLDER}/tovrin" "${link}" RESULT outcome SYMBOLIC)
  if(outcome STREQUAL "0")
    message(STATUS "Installing: ${link}")
    list(APPEND CMAKE_INSTALL_MANIFEST_FILES "/sbin/${name}")
  else()
    # Whoever installs into a home folder has everything but fstab.
    message(STATUS "Left out: ${link} (${outcome}); without it mount(8) does not know the type")
  endif()
endforeach()
