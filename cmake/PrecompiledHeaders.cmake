# Headers that many sources include are compiled once: reading them is most of what a short source takes. Sources
# include what they use all the same; the preset clang precompiles nothing and finds those that do not.

# compile_headers_anew(TARGET): never takes compiled headers from ccache. It reads the ones of the last build in the place of
# the headers, and so gives back old ones when a header changed: the objects of a test then disagree about a class.
function(compile_headers_anew name)
    set_target_properties(${name} PROPERTIES CXX_COMPILER_LAUNCHER "")
endfunction()

# add_headers(TARGET HEADERS...): libraries take them by target_precompile_headers(... REUSE_FROM TARGET).
function(add_headers name)
    add_library(${name} STATIC EXCLUDE_FROM_ALL ${PROJECT_SOURCE_DIR}/cmake/PrecompiledHeaders.cpp)
    target_precompile_headers(${name} PRIVATE ${ARGN})
    compile_headers_anew(${name})
endfunction()

# What a driver is written with.
add_headers(driver_headers <algorithm> <boost/bind/bind.hpp> <boost/function.hpp> <boost/make_shared.hpp> <functional>
            <map> <memory> <optional> <set> <stdexcept> <string> <unordered_map> <vector>
            ${PROJECT_SOURCE_DIR}/host/glue/DvBaseDriver.h)
target_link_libraries(driver_headers PRIVATE dvhost)

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-fpch-preprocess)  # ccache needs it
endif()
