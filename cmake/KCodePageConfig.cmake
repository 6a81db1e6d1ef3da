include("${CMAKE_CURRENT_LIST_DIR}/KCodePageTargets.cmake")
