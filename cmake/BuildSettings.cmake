# Settings that every folder of the library, the command and the tests are compiled with.

add_library(BuildSettings INTERFACE)
target_compile_features(BuildSettings INTERFACE cxx_std_20)
target_include_directories(BuildSettings INTERFACE "${PROJECT_SOURCE_DIR}" "${PROJECT_SOURCE_DIR}/Platform")
target_compile_options(BuildSettings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor
  -Woverloaded-virtual -Wundef -fstrict-aliasing)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # It warns of std::string's own copies from -O3 on, whatever the program does.
  target_compile_options(BuildSettings INTERFACE -Wno-restrict)
endif()
if(KCODEPAGE_WARNINGS_AS_ERRORS)
  target_compile_options(BuildSettings INTERFACE -Werror)
endif()
if(KCODEPAGE_SANITIZERS)
  target_compile_options(BuildSettings INTERFACE
    -fsanitize=${KCODEPAGE_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(BuildSettings INTERFACE -fsanitize=${KCODEPAGE_SANITIZERS})
endif()

set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set_property(GLOBAL PROPERTY KCODEPAGE_OBJECTS "")

# add_folder(NAME SOURCE...): the object library of one folder, which becomes part of the product.
function(add_folder name)
  add_library(${name} OBJECT ${ARGN})
  target_link_libraries(${name} PRIVATE BuildSettings)
  target_compile_definitions(${name} PRIVATE KCODEPAGE_BUILDING)
  set_property(GLOBAL APPEND PROPERTY KCODEPAGE_OBJECTS ${name})
endfunction()
