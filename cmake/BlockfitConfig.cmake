# Read by find_package(Blockfit): the programs Blockfit::Blockfit, Blockfit::check and
# Blockfit::convert, and blockfit_condition.

include("${CMAKE_CURRENT_LIST_DIR}/BlockfitTargets.cmake")
include("${CMAKE_CURRENT_LIST_DIR}/blockfit_condition.cmake")
