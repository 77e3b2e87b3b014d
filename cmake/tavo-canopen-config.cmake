# The libraries of an installation as targets: tavo-canopen::canopen and what it stands on.
include(${CMAKE_CURRENT_LIST_DIR}/tavo-canopen-targets.cmake)
