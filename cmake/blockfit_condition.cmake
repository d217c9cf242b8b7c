# Makes conditioned files as part of the build.
#
#     blockfit_condition(<program> [BLOCK <characters>] [LINE <bytes>] [WITHIN <first>-<last>...] [ALLOW_WARNINGS])
#     blockfit_condition(INPUT <file> [BASE <address>] [OUTPUT <name>] [BLOCK <characters>] [LINE <bytes>]
#                        [WITHIN <first>-<last>...] [ALLOW_WARNINGS])
#
# The first form makes <program>.srec beside an executable target whenever the target is linked; call it in the folder
# that adds the target. The addresses come from the ELF file, through CMAKE_OBJCOPY. Anything that needs <program>.srec
# must depend on the target.
#
# The second form makes <name>.srec again whenever <file> or one of the programs has changed. A relative <file> is in
# the current source folder, a relative <name> in the current build folder. Without OUTPUT, <name> is that of <file>.
# BASE is the load address of a .bin file: required for .bin files, not allowed for others.
#
# Numbers are decimal, or hexadecimal with 0x. BLOCK and LINE default to 8192 and 8.
# WITHIN lists the memory of the chip: no byte may have an address outside all of these ranges.
#
# blockfit-convert makes the file and proves it. The build fails, and there is no file, if it refuses the input or warns
# about it, because data may be missing or wrong. ALLOW_WARNINGS accepts a file in spite of its warnings, and shows them.
# The first form leaves <program>.objcopy.hex beside the program, with the lines that a message is about.

cmake_policy(VERSION 3.22)

# Stops unless a file of this name can be conditioned with these arguments.
function(_blockfit_check_input Input Output Base)
  if("${Input}${Output}" MATCHES ";")
    message(FATAL_ERROR "blockfit_condition: CMake does not allow a semicolon in a file name: ${Input} ${Output}")
  endif()
  cmake_path(GET Input EXTENSION LAST_ONLY Extension)
  string(TOLOWER "${Extension}" Extension)
  if(NOT Extension MATCHES "^\\.(hex|mot|srec|s19|s37|s|bin)$")
    message(FATAL_ERROR "blockfit_condition: INPUT ${Input} is not a .hex, .mot, .srec, .s19, .s37, .s or .bin file")
  endif()
  if(Extension STREQUAL ".bin" AND Base STREQUAL "")
    message(FATAL_ERROR "blockfit_condition: INPUT ${Input} needs BASE, its load address")
  endif()
  if(NOT Extension STREQUAL ".bin" AND NOT Base STREQUAL "")
    message(FATAL_ERROR "blockfit_condition: BASE is for .bin files; ${Input} has addresses of its own")
  endif()
endfunction()

# Conditions <Target> whenever it is linked. If the program changes, it is linked again.
function(_blockfit_condition_target Target Options)
  if(NOT TARGET "${Target}")
    message(FATAL_ERROR "blockfit_condition: ${Target} is not a target; use INPUT for a file")
  endif()
  get_target_property(Type ${Target} TYPE)
  if(NOT Type STREQUAL "EXECUTABLE")
    message(FATAL_ERROR "blockfit_condition: ${Target} is not an executable")
  endif()
  if(NOT CMAKE_OBJCOPY)
    message(FATAL_ERROR "blockfit_condition: there is no objcopy; set CMAKE_OBJCOPY to the tool chain's")
  endif()
  set(Name "$<TARGET_FILE_DIR:${Target}>/$<TARGET_FILE_BASE_NAME:${Target}>")
  add_custom_command(TARGET ${Target} POST_BUILD VERBATIM
    COMMAND "${CMAKE_COMMAND}" -E rm -f "${Name}.srec"
    COMMAND "${CMAKE_OBJCOPY}" -O ihex "$<TARGET_FILE:${Target}>" "${Name}.objcopy.hex"
    COMMAND "$<TARGET_FILE:Blockfit::convert>" ${Options} -o "${Name}.srec" "${Name}.objcopy.hex")
  set_property(TARGET ${Target} APPEND PROPERTY LINK_DEPENDS "$<TARGET_FILE:Blockfit::convert>")
  set_property(TARGET ${Target} APPEND PROPERTY ADDITIONAL_CLEAN_FILES "${Name}.srec" "${Name}.objcopy.hex")
endfunction()

function(_blockfit_condition_file Input Output Options)
  if(Output STREQUAL "")
    cmake_path(GET Input STEM LAST_ONLY Output)
  endif()
  if(NOT Output MATCHES "\\.srec$")
    string(APPEND Output ".srec")
  endif()
  cmake_path(ABSOLUTE_PATH Output BASE_DIRECTORY "${CMAKE_CURRENT_BINARY_DIR}" NORMALIZE)
  cmake_path(ABSOLUTE_PATH Input BASE_DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}" NORMALIZE)
  if(Output STREQUAL Input)
    message(FATAL_ERROR "blockfit_condition: ${Input} is both INPUT and OUTPUT")
  endif()
  cmake_path(GET Output PARENT_PATH Folder)
  cmake_path(RELATIVE_PATH Output BASE_DIRECTORY "${CMAKE_BINARY_DIR}" OUTPUT_VARIABLE Name)
  add_custom_command(OUTPUT "${Output}" VERBATIM COMMENT "Conditioning ${Name}"
    COMMAND "${CMAKE_COMMAND}" -E make_directory "${Folder}"
    COMMAND "${CMAKE_COMMAND}" -E rm -f "${Output}"
    COMMAND "$<TARGET_FILE:Blockfit::convert>" ${Options} -o "${Output}" "${Input}"
    DEPENDS "${Input}" Blockfit::convert)
  string(MAKE_C_IDENTIFIER "${Name}" Name)
  add_custom_target(blockfit_${Name} ALL DEPENDS "${Output}")
endfunction()

function(blockfit_condition)
  cmake_parse_arguments(PARSE_ARGV 0 Arg "ALLOW_WARNINGS" "INPUT;BASE;OUTPUT;BLOCK;LINE" "WITHIN")
  set(Options -q)
  foreach(Keyword INPUT BASE OUTPUT BLOCK LINE WITHIN)
    if(Keyword IN_LIST ARGV AND "${Arg_${Keyword}}" STREQUAL "")  # perhaps an empty variable
      message(FATAL_ERROR "blockfit_condition: no value for ${Keyword}")
    endif()
    if(Keyword MATCHES "BASE|BLOCK|LINE|WITHIN")
      string(TOLOWER "--${Keyword}=" Option)
      list(TRANSFORM Arg_${Keyword} PREPEND "${Option}" OUTPUT_VARIABLE Values)
      list(APPEND Options ${Values})
    endif()
  endforeach()
  if(Arg_ALLOW_WARNINGS)
    list(APPEND Options --allow-warnings)
  endif()
  if(ARGC EQUAL 0)
    message(FATAL_ERROR "blockfit_condition: no arguments; it takes a target, or INPUT and a file")
  endif()
  if(NOT DEFINED Arg_INPUT)
    list(POP_FRONT Arg_UNPARSED_ARGUMENTS Target)
  endif()
  if(Arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "blockfit_condition: unknown argument ${Arg_UNPARSED_ARGUMENTS}")
  endif()

  if(DEFINED Arg_INPUT)
    _blockfit_check_input("${Arg_INPUT}" "${Arg_OUTPUT}" "${Arg_BASE}")
    _blockfit_condition_file("${Arg_INPUT}" "${Arg_OUTPUT}" "${Options}")
  elseif(DEFINED Arg_BASE OR DEFINED Arg_OUTPUT)
    message(FATAL_ERROR "blockfit_condition: BASE and OUTPUT go with INPUT, not with a target")
  else()
    _blockfit_condition_target("${Target}" "${Options}")
  endif()
endfunction()
