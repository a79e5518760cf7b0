#include "client/Tls.h"

#include <openssl/x509v3.h>

#include <boost/asio/buffer.hpp>

#include "client/Failure.h"
#include "client/Options.h"

namespace ssl = boost::asio::ssl;

namespace {

void TrustOnly(ssl::context& context, const std::string& path) {
    boost::system::error_code error;
    context.add_certificate_authority(boost::asio::buffer(ReadFile(path)), error);
    const X509_STORE* const store = SSL_CTX_get_cert_store(context.native_handle());
    if (error || sk_X509_OBJECT_num(X509_STORE_get0_objects(store)) == 0)
        throw WrongUse(path + " holds no certificate of an authority; expected one in PEM form");
}

std::string UnknownAuthority(const std::string& authority) {
    if (authority.empty())
        return "its certificate was signed by an authority that this system does not know; name the home's "
               "own "
               "with --authority FILE";
    return "its certificate was not signed by the authority in " + authority +
           ". Is it the host that you mean? If it has a new authority, name that with --authority FILE";
}

}  // namespace

std::shared_ptr<ssl::context> MakeTlsContext(const std::string& authority) {
    auto context = std::make_shared<ssl::context>(ssl::context::tls_client);
    SSL_CTX_set_min_proto_version(context->native_handle(), TLS1_2_VERSION);
    context->set_verify_mode(ssl::verify_peer);
    if (authority.empty())
        context->set_default_verify_paths();
    else
        TrustOnly(*context, authority);
    return context;
}

// An address has no place in the name that the handshake tells, and its certificate has it without a zone.
void ExpectHost(SSL* connection, const std::string& host) {
    X509_VERIFY_PARAM* const expected = SSL_get0_param(connection);
    if (X509_VERIFY_PARAM_set1_ip_asc(expected, host.substr(0, host.find('%')).c_str()) == 1) return;
    X509_VERIFY_PARAM_set_hostflags(
        expected, X509_CHECK_FLAG_NEVER_CHECK_SUBJECT | X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
    X509_VERIFY_PARAM_set1_host(expected, host.data(), host.size());
    SSL_ctrl(connection, SSL_CTRL_SET_TLSEXT_HOSTNAME, TLSEXT_NAMETYPE_host_name,
             const_cast<char*>(host.c_str()));  // what SSL_set_tlsext_host_name does, with a cast as in C
}

std::string FaultOfCertificate(const SSL* connection, const std::string& host, const std::string& authority) {
    const long fault = SSL_get_verify_result(connection);
    switch (fault) {
        case X509_V_OK:
            return {};
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
        case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
        case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
        case X509_V_ERR_CERT_SIGNATURE_FAILURE:
            return UnknownAuthority(authority);
        case X509_V_ERR_HOSTNAME_MISMATCH:
        case X509_V_ERR_IP_ADDRESS_MISMATCH:
            return "its certificate is not for " + host +
                   "; use a name or address that it is for, or make one with scripts/certificate";
        case X509_V_ERR_CERT_HAS_EXPIRED:
            return "its certificate has ended, if this machine's clock is right; make a new one with "
                   "scripts/certificate";
        case X509_V_ERR_CERT_NOT_YET_VALID:
            return "its certificate is not valid yet; the clock of this machine or of the host is wrong";
        default:
            return std::string("its certificate is refused: ") + X509_verify_cert_error_string(fault);
    }
}
