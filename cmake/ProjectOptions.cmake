# What every target of the tree is built with.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# A build folder runs as it stands: programs find libdvhost.so beside them.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(PLUGIN_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/plugins)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

find_program(CCACHE ccache)
if(CCACHE)
    # Without these it does not look at what is compiled with precompiled headers.
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE})
endif()

# Linking forty test programs takes a tenth of the time with it.
find_program(LLD ld.lld)
if(LLD AND (BUILD_TESTING OR NOT DEFINED BUILD_TESTING))
    add_link_options(-fuse-ld=lld)
endif()

add_library(project_options INTERFACE)
target_compile_options(project_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Woverloaded-virtual
    -Wnon-virtual-dtor -Wcast-align -Wformat=2 -Werror)

# g++ looks for null pointers in optimised builds only, and then finds them in the headers of Boost and of
# the standard library, where there are none.
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(project_options INTERFACE -Wnull-dereference)
endif()

# Optimised, g++ takes an empty std::optional and a short std::string for what they are not; it says so, and goes on.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_BUILD_TYPE STREQUAL "RelWithDebInfo")
    target_compile_options(project_options INTERFACE -Wno-error=maybe-uninitialized -Wno-error=array-bounds)
endif()

# Unique symbols would keep a plug-in in memory after dlclose; a restarted driver must start anew.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(project_options INTERFACE -fno-gnu-unique)
endif()
# Where several sources are compiled at once, g++ takes what is hidden in one of them for a header's.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_UNITY_BUILD)
    target_compile_options(project_options INTERFACE -Wno-subobject-linkage)
endif()

if(COUNT_OBJECTS)
    target_compile_definitions(project_options INTERFACE DVHOST_COUNT_OBJECTS)
endif()

if(SANITIZE)
    target_compile_options(project_options INTERFACE -fsanitize=${SANITIZE} -fno-omit-frame-pointer
                                                     -fno-sanitize-recover=all)
    target_link_options(project_options INTERFACE -fsanitize=${SANITIZE})
    # It would have libdvhost.so export a type for every function that is called by pointer.
    if(CMAKE_CXX_COMPILER_ID MATCHES "Clang" AND SANITIZE MATCHES "undefined")
        target_compile_options(project_options INTERFACE -fno-sanitize=function)
    endif()
endif()

if(COVERAGE)
    target_compile_options(project_options INTERFACE --coverage -fprofile-abs-path)
    target_link_options(project_options INTERFACE --coverage)
endif()

if(FUZZ)
    target_compile_options(project_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
