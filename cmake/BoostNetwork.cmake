# The network libraries, compiled once for every program that speaks to a socket, and their headers with them.
add_library(boost_network STATIC ${PROJECT_SOURCE_DIR}/cmake/BoostSources.cpp
            ${PROJECT_SOURCE_DIR}/cmake/BoostTlsSources.cpp)
# An object of its own, so that programs without TLS need no OpenSSL.
set_source_files_properties(${PROJECT_SOURCE_DIR}/cmake/BoostTlsSources.cpp PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
target_link_libraries(boost_network PUBLIC project_options Boost::headers Threads::Threads)
# Without fences: the queues' mutexes order what threads hand over, and ThreadSanitizer knows no fences.
target_compile_definitions(boost_network PUBLIC BOOST_ASIO_SEPARATE_COMPILATION BOOST_BEAST_SEPARATE_COMPILATION
                           BOOST_ASIO_DISABLE_FENCED_BLOCK)
target_precompile_headers(boost_network PRIVATE <algorithm> <boost/asio/io_context.hpp> <boost/asio/ip/tcp.hpp>
                          <boost/asio/local/stream_protocol.hpp> <boost/asio/post.hpp> <boost/asio/signal_set.hpp>
                          <boost/asio/steady_timer.hpp> <boost/asio/write.hpp> <boost/beast/core.hpp>
                          <boost/beast/http.hpp> <boost/function.hpp> <chrono> <functional> <map> <memory> <mutex>
                          <optional> <set> <string> <vector>)
