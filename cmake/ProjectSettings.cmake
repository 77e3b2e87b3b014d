# What every target of this project is built with.

add_library(tavo_settings INTERFACE)
target_compile_options(tavo_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow $<$<BOOL:${TAVO_WARNINGS_AS_ERRORS}>:-Werror>
  $<$<CXX_COMPILER_ID:GNU>:-fno-semantic-interposition>)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
  # GCC notes on every use of a type whose ABI changed in GCC 7; nothing here is linked with older code.
  target_compile_options(tavo_settings INTERFACE -Wno-psabi)
endif()

if(TAVO_SANITIZE)
  target_compile_options(tavo_settings INTERFACE
    -fsanitize=${TAVO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(tavo_settings INTERFACE -fsanitize=${TAVO_SANITIZE})
endif()

# A library as it is shipped is optimised as a whole, which saves a twentieth of its code. Only with g++: Debian's linkers
# for other architectures crash on what clang++ leaves to them. Part of another project, that one says what it wants.
if(PROJECT_IS_TOP_LEVEL AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set(TAVO_OPTIMISE_LIBRARIES ON)
else()
  set(TAVO_OPTIMISE_LIBRARIES OFF)
endif()

set(TAVO_EXPORTED_SYMBOLS ${CMAKE_CURRENT_LIST_DIR}/exported-symbols.map)

# tavo_shared_library(TARGET OUTPUT_NAME INCLUDE_DIR SOURCE_DIR...): a shared library of this
# project from every .cpp below the source folders. Sources and the symbols that the library
# binds to itself are the same for all of them, so they stand here once.
function(tavo_shared_library target output_name include_dir)
  set(sources "")
  foreach(dir IN LISTS ARGN)
    file(GLOB found CONFIGURE_DEPENDS ${dir}/*.cpp)
    list(APPEND sources ${found})
  endforeach()
  add_library(${target} SHARED ${sources})
  # While the first number of the version is 0, the second one changes with the ABI.
  set_target_properties(${target} PROPERTIES
    OUTPUT_NAME ${output_name}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  if(TAVO_OPTIMISE_LIBRARIES)
    set_property(TARGET ${target} PROPERTY INTERPROCEDURAL_OPTIMIZATION_RELEASE ON)
  endif()
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${include_dir}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/tavo-canopen>)
  target_compile_features(${target} PUBLIC cxx_std_17)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:tavo_settings>)
  if(TAVO_SANITIZE)
    # A sanitizer finds the vtables and typeinfo of all libraries in one place only when they may be shared.
  else()
    target_link_options(${target} PRIVATE -Wl,-Bsymbolic-functions -Wl,--no-undefined
      -Wl,--version-script=${TAVO_EXPORTED_SYMBOLS})
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${TAVO_EXPORTED_SYMBOLS})
  endif()
endfunction()

# tavo_install_library(TARGET NAME INCLUDE_DIR): the library goes into an installation, with its headers, and is
# tavo-canopen::NAME for those who use it, from there as well as from a build.
function(tavo_install_library target name include_dir)
  add_library(tavo-canopen::${name} ALIAS ${target})
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
  install(TARGETS ${target} EXPORT tavo-canopen-targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libraries NAMELINK_COMPONENT development)
  install(DIRECTORY ${include_dir}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tavo-canopen
    COMPONENT development FILES_MATCHING PATTERN "*.h")
endfunction()
