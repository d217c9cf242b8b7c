# Run by the build for blockfit_condition: makes the conditioned file Output from the file Input with the program
# Blockfit. First, the program Check must find no error in Input, and no warning either unless AllowWarnings is on. With
# Objcopy, Input is an ELF file. Base, Block and Line are hexadecimal digits or empty; Within is empty or ranges with
# commas between them. A success prints only warnings; a failure prints what the programs say, and leaves no Output.
#
# Blockfit works with fixed names in a scratch folder. So no name needs an option, means a path in the home folder, or
# is also the name of the input; and a file gets its final name only when it is complete.

cmake_policy(VERSION 3.22)
set(Scratch "${Output}.tmp")

function(fail Text)
  message("${Text}")
  file(REMOVE_RECURSE "${Scratch}")
  message(FATAL_ERROR "${Output} was not made.")
endfunction()

# Stops unless the file passes the check.
function(check Checked)
  set(Strict --strict)
  if(AllowWarnings)
    set(Strict)
  endif()
  string(REGEX REPLACE "([^,]+),?" "--within=\\1;" Ranges "${Within}")
  execute_process(COMMAND "${Check}" ${Strict} "--base=0x0${Base}" ${Ranges} -- "${Checked}"
                  RESULT_VARIABLE Status OUTPUT_QUIET ERROR_VARIABLE Findings)
  if(NOT Status STREQUAL 0)
    fail("${Findings}")
  elseif(Findings MATCHES ": warning: ")
    message("${Findings}")
  endif()
endfunction()

# condition(NAME OPTION...): makes Scratch/NAME/firmware.srec from File, and sets File to it.
function(condition Name)
  file(MAKE_DIRECTORY "${Scratch}/${Name}")
  execute_process(COMMAND "${Blockfit}" ${ARGN} "${File}" WORKING_DIRECTORY "${Scratch}/${Name}"
                  RESULT_VARIABLE Status OUTPUT_VARIABLE Text ERROR_VARIABLE Text)
  if(NOT Status STREQUAL 0)
    string(REGEX REPLACE "^.*\n\n" "" Text "${Text}")  # the banner ends with a blank line
    fail("Blockfit ${Input}\n${Text}")
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
  check("${Scratch}/input/firmware.hex")
  set(File "../input/firmware.hex")
else()
  check("${Input}")
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
