// The bodies of Asio and Beast, compiled once instead of wherever they are used.
#include <boost/asio/impl/src.hpp>
#include <boost/asio/ssl/impl/src.hpp>
#include <boost/beast/src.hpp>
