# cmake --install: the programs, their manual pages, completions for bash and zsh, the CMake module, and the
# documentation with its examples.

include(GNUInstallDirs)
set(BLOCKFIT_DOC_DIR ${CMAKE_INSTALL_DATADIR}/doc/blockfit)
set(BLOCKFIT_CMAKE_DIR ${CMAKE_INSTALL_DATADIR}/cmake/Blockfit)

# Everyone can read what is installed, whatever the umask. CMake sets the permissions of files, and of folders that it
# copies, but other folders get what the umask allows. So the first rule makes these folders.
set(CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
install(CODE "set(Folders
  ${CMAKE_INSTALL_BINDIR}
  ${CMAKE_INSTALL_MANDIR}/man1
  ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
  ${BLOCKFIT_CMAKE_DIR}
  ${CMAKE_INSTALL_DATADIR}/zsh/site-functions
  ${BLOCKFIT_DOC_DIR}/docs)")
install(SCRIPT cmake/install_folders.cmake)

set_target_properties(blockfit_check PROPERTIES EXPORT_NAME check)
set_target_properties(blockfit_convert PROPERTIES EXPORT_NAME convert)
install(TARGETS Blockfit blockfit_check blockfit_convert EXPORT BlockfitTargets
        RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES man/Blockfit.1 man/blockfit-check.1 man/blockfit-convert.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
foreach(Program Blockfit blockfit-check blockfit-convert)
  install(FILES completions/${Program}.bash RENAME ${Program}
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
endforeach()
install(FILES completions/_Blockfit completions/_blockfit-check completions/_blockfit-convert
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)

# The same layout as the source tree, so that links between the pages work.
install(FILES packaging/README.md packaging/copyright DESTINATION ${BLOCKFIT_DOC_DIR})
install(FILES docs/format.md docs/recipes.md docs/conditioned-file.svg DESTINATION ${BLOCKFIT_DOC_DIR}/docs)
# Building the page takes another compiler, so it is installed only if it is there.
install(FILES build/web/blockfit.html DESTINATION ${BLOCKFIT_DOC_DIR} OPTIONAL)
install(DIRECTORY examples DESTINATION ${BLOCKFIT_DOC_DIR} FILES_MATCHING
  PATTERN "*.[ch]" PATTERN "*.ld" PATTERN "*.py" PATTERN "*.sh" PATTERN "CMakeLists.txt" PATTERN "README.md"
  REGEX "/[^/]*\\.(hex|mot|srec|s19|s37|s|bin|txt)$")

# find_package(Blockfit) works in a project for any target machine: the programs run on the build machine.
include(CMakePackageConfigHelpers)
write_basic_package_version_file(BlockfitConfigVersion.cmake COMPATIBILITY SameMajorVersion ARCH_INDEPENDENT)
install(EXPORT BlockfitTargets NAMESPACE Blockfit:: DESTINATION ${BLOCKFIT_CMAKE_DIR})
install(FILES ${PROJECT_BINARY_DIR}/BlockfitConfigVersion.cmake cmake/BlockfitConfig.cmake
              cmake/blockfit_condition.cmake DESTINATION ${BLOCKFIT_CMAKE_DIR})
