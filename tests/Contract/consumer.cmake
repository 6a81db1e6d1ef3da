# Installs the build tree BUILD below WORK, then configures, builds and runs the client project SOURCE against
# what was installed, and runs the installed command (where TOOL is on).

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT result EQUAL 0)
    string(REPLACE ";" " " command "${ARGN}")
    message(FATAL_ERROR "${command}\n${output}\nstatus ${result}")
  endif()
endfunction()

set(installed "${WORK}/installed")
file(REMOVE_RECURSE "${WORK}")

run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${installed}")

set(flags "")
if(SANITIZERS)
  set(flags "-fsanitize=${SANITIZERS}")
endif()
run("${CMAKE_COMMAND}" -S "${SOURCE}" -B "${WORK}/build" -G "${GENERATOR}"
  "-DCMAKE_CXX_COMPILER=${COMPILER}" "-DCMAKE_CXX_FLAGS=${flags}" "-DCMAKE_PREFIX_PATH=${installed}"
  -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF -DCMAKE_FIND_USE_SYSTEM_PACKAGE_REGISTRY=OFF)
run("${CMAKE_COMMAND}" --build "${WORK}/build")
run("${WORK}/build/consumer")

if(TOOL)
  run("${installed}/${BINARIES}/kcodepage" list)
endif()
