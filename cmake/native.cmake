# Builds the programs for the build machine, with its own compiler, as a separate project.

include(ExternalProject)
set(Folder ${CMAKE_CURRENT_BINARY_DIR}/native)
ExternalProject_Add(blockfit_native
  SOURCE_DIR ${CMAKE_CURRENT_SOURCE_DIR}
  BINARY_DIR ${Folder}
  CMAKE_ARGS -DCMAKE_BUILD_TYPE=Release
  BUILD_ALWAYS ON
  BUILD_BYPRODUCTS ${Folder}/Blockfit ${Folder}/blockfit-check ${Folder}/blockfit-convert
  INSTALL_COMMAND "")

function(blockfit_import Name File)
  add_executable(Blockfit::${Name} IMPORTED GLOBAL)
  set_target_properties(Blockfit::${Name} PROPERTIES IMPORTED_LOCATION ${File})
  add_dependencies(Blockfit::${Name} blockfit_native)
endfunction()
blockfit_import(Blockfit ${Folder}/Blockfit)
blockfit_import(check ${Folder}/blockfit-check)
blockfit_import(convert ${Folder}/blockfit-convert)
