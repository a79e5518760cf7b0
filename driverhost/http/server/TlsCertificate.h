// The certificate that the host shows, its key, and the authority that signed it. All are read again when
// they have been renewed.
#ifndef DRIVERHOST_HTTP_SERVER_TLSCERTIFICATE_H
#define DRIVERHOST_HTTP_SERVER_TLSCERTIFICATE_H

#include <chrono>
#include <memory>
#include <string>

#include "driverhost/settings/Options.h"

namespace boost::asio::ssl {
class context;
}

namespace driverhost {

/// All operations: [driver thread]
class TlsCertificate {
public:
    using Context = boost::asio::ssl::context;
    using Time = std::chrono::system_clock::time_point;

    /// Reads the files. Without a certificate the host speaks plain HTTP. Throws OptionError.
    explicit TlsCertificate(TlsFiles files);

    bool IsThere() const { return loaded_.context != nullptr; }
    /// For new connections; those that are there keep the one that they began with.
    const std::shared_ptr<Context>& GetContext() const { return loaded_.context; }

    /// Reads the files again. When they cannot be used the former ones stay in use, and the log says so.
    void ReadAgain();

    /// True when the certificate is for that name or address.
    bool IsFor(const std::string& name) const;
    /// A sentence from 30 days before the certificate's end on; empty before.
    std::string Warning(Time now) const;

    /// The authority's certificate (PEM), and the SHA-256 of it as people compare it: "AB:CD:…". Empty when
    /// none is given.
    const std::string& Authority() const { return loaded_.authority; }
    const std::string& Fingerprint() const { return loaded_.fingerprint; }

private:
    struct Loaded {
        std::shared_ptr<Context> context;
        Time end;
        std::string authority;
        std::string fingerprint;
    };

    static Loaded Load(const TlsFiles& files);
    static void LoadAuthority(const std::string& path, Loaded& loaded);

    const TlsFiles files_;
    Loaded loaded_;
};

}  // namespace driverhost

#endif
