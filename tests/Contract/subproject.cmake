# Configures the project in SUBPROJECT, which has the sources below SOURCE as a part, below WORK; compiles its
# client and one folder of the part; and installs it, which must install nothing.

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    string(REPLACE ";" " " command "${ARGN}")
    message(FATAL_ERROR "${command}\n${output}\nstatus ${result}")
  endif()
endfunction()

file(REMOVE_RECURSE "${WORK}")
run("${CMAKE_COMMAND}" -S "${SUBPROJECT}" -B "${WORK}/build" -G "${GENERATOR}" "-DSOURCE=${SOURCE}"
  "-DCMAKE_CXX_COMPILER=${COMPILER}")
run("${CMAKE_COMMAND}" --build "${WORK}/build" --target client KCodePage_FileSystem)
run("${CMAKE_COMMAND}" --install "${WORK}/build" --prefix "${WORK}/installed")
file(GLOB installed "${WORK}/installed/*")
if(installed)
  message(FATAL_ERROR "The part installs something: ${installed}")
endif()
