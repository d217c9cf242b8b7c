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
# Numbers are decimal, or hexadecimal with 0x. BLOCK and LINE default to Blockfit's own defaults.
#
# WITHIN lists the memory of the part: the build fails if a byte has an address outside all of these ranges.
#
# The build fails if blockfit-check refuses the file or warns about it, because data may be missing or wrong.
# ALLOW_WARNINGS accepts a file in spite of its warnings, and shows them.

cmake_policy(VERSION 3.22)

# Sets <Result> to the hexadecimal digits of <Text>, the number given for <Keyword>, or to nothing if <Text> is empty.
function(_blockfit_hexadecimal Result Keyword Text Smallest Step)
  set(${Result} "" PARENT_SCOPE)
  if(Text STREQUAL "")
    return()
  endif()
  set(Complaint "blockfit_condition: ${Keyword} ${Text}")
  if(NOT Text MATCHES "^(0[xX][0-9a-fA-F]+|[0-9]+)$")
    message(FATAL_ERROR "${Complaint} is not a number, decimal or hexadecimal with 0x")
  endif()
  # Anything longer might be too large for math.
  string(LENGTH "${Text}" Length)
  set(Number 4294967296)
  if(Length LESS 18)
    math(EXPR Number "${Text}")
  endif()
  if(Number LESS Smallest OR Number GREATER 4294967295)
    message(FATAL_ERROR "${Complaint} is not in ${Smallest} to 0xFFFFFFFF")
  endif()
  math(EXPR Rest "${Number} % ${Step}")
  if(NOT Rest EQUAL 0)
    message(FATAL_ERROR "${Complaint} is not even")
  endif()
  math(EXPR Number "${Number}" OUTPUT_FORMAT HEXADECIMAL)
  string(SUBSTRING "${Number}" 2 -1 Number)
  set(${Result} "${Number}" PARENT_SCOPE)
endfunction()

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

# Conditions <Target> whenever it is linked. If the programs change, it is linked again.
function(_blockfit_condition_target Target Run)
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
  set(Output "$<TARGET_FILE_DIR:${Target}>/$<TARGET_FILE_BASE_NAME:${Target}>.srec")
  add_custom_command(TARGET ${Target} POST_BUILD VERBATIM
    COMMAND ${Run} "-DInput=$<TARGET_FILE:${Target}>" "-DOutput=${Output}" "-DObjcopy=${CMAKE_OBJCOPY}"
            -P "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/blockfit_condition_run.cmake")
  set_property(TARGET ${Target} APPEND PROPERTY LINK_DEPENDS
               "$<TARGET_FILE:Blockfit::Blockfit>" "$<TARGET_FILE:Blockfit::check>")
  set_property(TARGET ${Target} APPEND PROPERTY ADDITIONAL_CLEAN_FILES "${Output}")
endfunction()

function(_blockfit_condition_file Input Output Base Run)
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
  cmake_path(RELATIVE_PATH Output BASE_DIRECTORY "${CMAKE_BINARY_DIR}" OUTPUT_VARIABLE Name)
  add_custom_command(OUTPUT "${Output}" VERBATIM COMMENT "Conditioning ${Name}"
    COMMAND ${Run} "-DInput=${Input}" "-DOutput=${Output}" "-DBase=${Base}"
            -P "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/blockfit_condition_run.cmake"
    DEPENDS "${Input}" Blockfit::Blockfit Blockfit::check)
  string(MAKE_C_IDENTIFIER "${Name}" Name)
  add_custom_target(blockfit_${Name} ALL DEPENDS "${Output}")
endfunction()

function(blockfit_condition)
  cmake_parse_arguments(PARSE_ARGV 0 Arg "ALLOW_WARNINGS" "INPUT;BASE;OUTPUT;BLOCK;LINE" "WITHIN")
  foreach(Keyword INPUT BASE OUTPUT BLOCK LINE WITHIN)
    if(Keyword IN_LIST ARGV AND "${Arg_${Keyword}}" STREQUAL "")  # perhaps an empty variable
      message(FATAL_ERROR "blockfit_condition: no value for ${Keyword}")
    endif()
  endforeach()
  if(ARGC EQUAL 0)
    message(FATAL_ERROR "blockfit_condition: no arguments; it takes a target, or INPUT and a file")
  endif()
  if(NOT DEFINED Arg_INPUT)
    list(POP_FRONT Arg_UNPARSED_ARGUMENTS Target)
  endif()
  if(Arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "blockfit_condition: unknown argument ${Arg_UNPARSED_ARGUMENTS}")
  endif()
  _blockfit_hexadecimal(Base BASE "${Arg_BASE}" 0 1)
  _blockfit_hexadecimal(Block BLOCK "${Arg_BLOCK}" 34 2)
  _blockfit_hexadecimal(Line LINE "${Arg_LINE}" 0 2)
  string(REPLACE ";" "," Within "${Arg_WITHIN}")
  set(Run "${CMAKE_COMMAND}" "-DBlockfit=$<TARGET_FILE:Blockfit::Blockfit>" "-DCheck=$<TARGET_FILE:Blockfit::check>"
          "-DBlock=${Block}" "-DLine=${Line}" "-DWithin=${Within}" "-DAllowWarnings=${Arg_ALLOW_WARNINGS}")

  if(DEFINED Arg_INPUT)
    _blockfit_check_input("${Arg_INPUT}" "${Arg_OUTPUT}" "${Base}")
    _blockfit_condition_file("${Arg_INPUT}" "${Arg_OUTPUT}" "${Base}" "${Run}")
  elseif(DEFINED Arg_BASE OR DEFINED Arg_OUTPUT)
    message(FATAL_ERROR "blockfit_condition: BASE and OUTPUT go with INPUT, not with a target")
  else()
    _blockfit_condition_target("${Target}" "${Run}")
  endif()
endfunction()
