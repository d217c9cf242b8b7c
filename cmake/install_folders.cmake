# Run by cmake --install: makes any missing Folders and their parents, so that everyone can read them. Existing folders
# are not changed.

function(make_folder Folder)
  if(EXISTS "${Folder}")
    return()
  endif()
  cmake_path(GET Folder PARENT_PATH Parent)
  make_folder("${Parent}")
  file(MAKE_DIRECTORY "${Folder}")
  file(CHMOD "${Folder}" PERMISSIONS ${CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS})
endfunction()

foreach(Folder IN LISTS Folders)
  cmake_path(ABSOLUTE_PATH Folder BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}")
  set(Folder "$ENV{DESTDIR}${Folder}")
  cmake_path(ABSOLUTE_PATH Folder)
  make_folder("${Folder}")
endforeach()
