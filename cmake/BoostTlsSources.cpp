// TLS of Boost.Asio, compiled once; linked only with programs that use it.
#include <boost/asio/ssl/impl/src.hpp>
