// What the client does of TLS: whom it trusts, and what it says of a host that it does not trust.
#ifndef CLIENT_TLS_H
#define CLIENT_TLS_H

#include <openssl/ssl.h>

#include <boost/asio/ssl/context.hpp>
#include <memory>
#include <string>

/// Trusts the authorities in that file (PEM), and nobody else; with an empty path those of the system. Throws
/// WrongUse when the file cannot be used.
std::shared_ptr<boost::asio::ssl::context> MakeTlsContext(const std::string& authority);

/// Before the handshake: from then on only a certificate for this name or address will do.
void ExpectHost(SSL* connection, const std::string& host);

/// After a handshake that failed: what is wrong with the host's certificate and what to do, as the end of a
/// sentence. Empty when that was not the reason.
std::string FaultOfCertificate(const SSL* connection, const std::string& host, const std::string& authority);

#endif
