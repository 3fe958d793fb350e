# find_package(korvex) defines the target korvex::korvex.
include(${CMAKE_CURRENT_LIST_DIR}/korvexTargets.cmake)
