# Settings that every folder of the library, the command and the tests are compiled with.

add_library(KCodePageBuildSettings INTERFACE)
target_compile_features(KCodePageBuildSettings INTERFACE cxx_std_20)
target_include_directories(KCodePageBuildSettings INTERFACE "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/Platform")
target_compile_options(KCodePageBuildSettings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor
  -Woverloaded-virtual -Wundef -fstrict-aliasing)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Calls of exported functions from their own file are calls of these very functions, which may be inlined.
  target_compile_options(KCodePageBuildSettings INTERFACE -fno-semantic-interposition)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # It warns of std::string's own copies from -O3 on, whatever the program does.
  target_compile_options(KCodePageBuildSettings INTERFACE -Wno-restrict)
endif()
if(KCODEPAGE_WARNINGS_AS_ERRORS)
  target_compile_options(KCodePageBuildSettings INTERFACE -Werror)
endif()
if(KCODEPAGE_SANITIZERS)
  target_compile_options(KCodePageBuildSettings INTERFACE
    -fsanitize=${KCODEPAGE_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(KCodePageBuildSettings INTERFACE -fsanitize=${KCODEPAGE_SANITIZERS})
endif()

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set_property(GLOBAL PROPERTY KCODEPAGE_OBJECTS "")

# add_folder(NAME SOURCE...): the object library of one folder, which becomes part of the product.
function(add_folder name)
  set(target KCodePage_${name}) # a project that this one is part of may have folders of the same name
  add_library(${target} OBJECT ${ARGN})
  target_link_libraries(${target} PRIVATE KCodePageBuildSettings)
  target_compile_definitions(${target} PRIVATE KCODEPAGE_BUILDING)
  set_property(GLOBAL APPEND PROPERTY KCODEPAGE_OBJECTS ${target})
endfunction()
