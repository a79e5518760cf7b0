// The network libraries, compiled once.
#include <boost/asio/impl/src.hpp>
#include <boost/beast/src.hpp>
