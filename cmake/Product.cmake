# The product: one shared library of the objects of all folders, its installation, and the list of the
# same objects for the tests that look inside.

get_property(objects GLOBAL PROPERTY KCODEPAGE_OBJECTS)
set(objectFiles "")
foreach(object IN LISTS objects)
  list(APPEND objectFiles "$<TARGET_OBJECTS:${object}>")
endforeach()

find_package(Threads REQUIRED)

add_library(KCodePage SHARED ${objectFiles})
add_library(KCodePage::KCodePage ALIAS KCodePage)
# ICU is the library's own affair: a client needs neither its headers nor its package files.
target_link_libraries(KCodePage PRIVATE
  $<BUILD_INTERFACE:KCodePageBuildSettings> Threads::Threads
  $<BUILD_INTERFACE:ICU::uc> $<BUILD_INTERFACE:ICU::i18n>)
target_compile_features(KCodePage INTERFACE cxx_std_20)
target_include_directories(KCodePage INTERFACE
  "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR};${PROJECT_SOURCE_DIR}/Platform>"
  "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/kcodepage>")
# Calls of exported functions from inside go straight there: nobody is to put others in their place.
target_link_options(KCodePage PRIVATE LINKER:-Bsymbolic-functions)
set_target_properties(KCodePage PROPERTIES
  LINKER_LANGUAGE CXX
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR})

add_library(KCodePageObjects INTERFACE)
target_sources(KCodePageObjects INTERFACE ${objectFiles})
target_link_libraries(KCodePageObjects INTERFACE KCodePageBuildSettings Threads::Threads ICU::uc ICU::i18n)

if(NOT KCODEPAGE_INSTALL)
  return()
endif()

include(CMakePackageConfigHelpers)
set(packageDirectory "${CMAKE_INSTALL_LIBDIR}/cmake/KCodePage")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/KCodePageConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)
install(TARGETS KCodePage EXPORT KCodePageTargets)
install(EXPORT KCodePageTargets NAMESPACE KCodePage:: DESTINATION "${packageDirectory}")
install(FILES "${PROJECT_SOURCE_DIR}/cmake/KCodePageConfig.cmake"
  "${PROJECT_BINARY_DIR}/KCodePageConfigVersion.cmake" DESTINATION "${packageDirectory}")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/CodePage" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/kcodepage"
  FILES_MATCHING PATTERN "*.h" PATTERN "Private" EXCLUDE)
foreach(library KBase KSynch KDataType KSerialization)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/Platform/${library}"
    DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/kcodepage" FILES_MATCHING PATTERN "*.h")
endforeach()
