# The parts of the contract that take more than a test program: the list of exported symbols, the README's
# example, a client project that is configured against the installed tree, and one that has the sources as a
# part of its own.

target_compile_definitions(ContractTests PRIVATE
  KCODEPAGE_LIBRARY="$<TARGET_FILE:KCodePage>"
  KCODEPAGE_NM="${CMAKE_NM}"
  KCODEPAGE_SYMBOLS_FOUND="${CMAKE_CURRENT_BINARY_DIR}/exported-symbols.txt")

# The README's example is compiled as a client's program and must print what the README says. Without an
# example in the README the test fails.
set(exampleScript "${CMAKE_CURRENT_LIST_DIR}/readme_example.py")
set(exampleDirectory "${CMAKE_CURRENT_BINARY_DIR}/readme-example")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
  "${PROJECT_SOURCE_DIR}/README.md" "${exampleScript}")
execute_process(
  COMMAND "${Python3_EXECUTABLE}" "${exampleScript}" extract "${PROJECT_SOURCE_DIR}/README.md" "${exampleDirectory}"
  RESULT_VARIABLE exampleResult)
if(exampleResult EQUAL 0)
  add_executable(ReadmeExample "${exampleDirectory}/main.cpp")
  target_link_libraries(ReadmeExample PRIVATE KCodePage KCodePageBuildSettings)
  add_test(NAME Contract.ReadmeExample
    COMMAND Python3::Interpreter "${exampleScript}" check "$<TARGET_FILE:ReadmeExample>"
      "${exampleDirectory}/expected.txt")
else()
  add_test(NAME Contract.ReadmeExample
    COMMAND Python3::Interpreter "${exampleScript}" extract "${PROJECT_SOURCE_DIR}/README.md" "${exampleDirectory}")
endif()

add_test(NAME Contract.Consumer
  COMMAND "${CMAKE_COMMAND}"
    "-DBUILD=${PROJECT_BINARY_DIR}"
    "-DSOURCE=${CMAKE_CURRENT_LIST_DIR}/consumer"
    "-DWORK=${CMAKE_CURRENT_BINARY_DIR}/consumer"
    "-DGENERATOR=${CMAKE_GENERATOR}"
    "-DCOMPILER=${CMAKE_CXX_COMPILER}"
    "-DSANITIZERS=${KCODEPAGE_SANITIZERS}"
    "-DBINARIES=${CMAKE_INSTALL_BINDIR}"
    "-DTOOL=${KCODEPAGE_BUILD_TOOL}"
    -P "${CMAKE_CURRENT_LIST_DIR}/consumer.cmake")
set_tests_properties(Contract.ReadmeExample Contract.Consumer PROPERTIES TIMEOUT 300)

# It builds the sources for itself, without a sanitizer whatever this build has: once is enough.
if(NOT KCODEPAGE_SANITIZERS)
  add_test(NAME Contract.Subproject
    COMMAND "${CMAKE_COMMAND}"
      "-DSOURCE=${PROJECT_SOURCE_DIR}"
      "-DSUBPROJECT=${CMAKE_CURRENT_LIST_DIR}/subproject"
      "-DWORK=${CMAKE_CURRENT_BINARY_DIR}/subproject"
      "-DGENERATOR=${CMAKE_GENERATOR}"
      "-DCOMPILER=${CMAKE_CXX_COMPILER}"
      -P "${CMAKE_CURRENT_LIST_DIR}/subproject.cmake")
  set_tests_properties(Contract.Subproject PROPERTIES TIMEOUT 300)
endif()
