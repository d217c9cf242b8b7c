# Run by the build for blockfit_condition: makes the conditioned file Output from the file Input with the program
# Blockfit. With Objcopy, Input is an ELF file. Base, Block and Line are hexadecimal digits or empty. Success prints
# nothing; a failure prints what Blockfit says and what the program Check says about the input, and leaves no Output.
#
# Blockfit works on fixed names in a folder of its own. So no name needs an option, is taken for a path in the home
# folder, or is also the name of the input; and a file gets its final name only when it is complete.

cmake_policy(VERSION 3.22)
set(Scratch "${Output}.tmp")

function(fail Text)
  message("${Text}")
  file(REMOVE_RECURSE "${Scratch}")
  message(FATAL_ERROR "${Output} was not made.")
endfunction()

# Prints the reason, and what Blockfit said after its last blank line, which ends the text printed at every start.
function(fail_to_condition Text)
  string(REGEX REPLACE "^.*\n\n" "" Text "${Text}")
  string(REPLACE "${File}" "${Input}" Text "${Text}")
  string(STRIP "${Text}" Text)
  set(Checked "${Input}")
  if(Objcopy)
    set(Checked "${Scratch}/input/firmware.hex")
  endif()
  execute_process(COMMAND "${Check}" "--base=0x0${Base}" -- "${Checked}" OUTPUT_VARIABLE Reason ERROR_VARIABLE Reason)
  fail("Blockfit ${Input}\n${Text}\n${Reason}")
endfunction()

# condition(NAME OPTION...): makes Scratch/NAME/firmware.srec from File, and sets File to it.
function(condition Name)
  file(MAKE_DIRECTORY "${Scratch}/${Name}")
  execute_process(COMMAND "${Blockfit}" ${ARGN} "${File}" WORKING_DIRECTORY "${Scratch}/${Name}"
                  RESULT_VARIABLE Status OUTPUT_VARIABLE Text ERROR_VARIABLE Text)
  if(NOT Status STREQUAL 0)
    fail_to_condition("${Text}")
  endif()
  set(File "../${Name}/firmware.srec" PARENT_SCOPE)
endfunction()

file(REMOVE "${Output}")
file(REMOVE_RECURSE "${Scratch}")
file(MAKE_DIRECTORY "${Scratch}/input")
if(Objcopy)
  execute_process(COMMAND "${Objcopy}" -O ihex "${Input}" "${Scratch}/input/firmware.hex"
                  RESULT_VARIABLE Status OUTPUT_VARIABLE Text ERROR_VARIABLE Text)
  if(NOT Status STREQUAL 0)
    fail("${Text}")
  endif()
  set(File "../input/firmware.hex")
else()
  cmake_path(GET Input EXTENSION LAST_ONLY Extension)
  file(CREATE_LINK "${Input}" "${Scratch}/input/firmware${Extension}" SYMBOLIC)
  set(File "../input/firmware${Extension}")
endif()

# Two runs, because one takes at most two options.
if(NOT "${Base}" STREQUAL "")
  condition(based -BaseAddr "${Base}")
endif()
set(Options)
if(NOT "${Block}" STREQUAL "")
  list(APPEND Options -BlockAlign "${Block}")
endif()
if(NOT "${Line}" STREQUAL "")
  list(APPEND Options -LineAlign "${Line}")
endif()
condition(output ${Options})

file(RENAME "${Scratch}/output/firmware.srec" "${Output}")
file(REMOVE_RECURSE "${Scratch}")
