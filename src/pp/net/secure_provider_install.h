#pragma once
// The process's one secure transport, whichever system library is behind it: made on first
// use, and offered to the proxy code then, since an https proxy is reached through it too.
#include <string>

#include "pp/net/net_stream_secure.h"
#include "pp/net/proxy.h"

namespace PP {

template <typename Provider>
Provider& installedSecureProvider() {
    static Provider p;
    static bool installed = [] {
        setProxySecureFactory([](const std::string&) { return installedSecureProvider<Provider>().createSecure(0); });
        return true;
    }();
    (void)installed;
    return p;
}

}  // namespace PP
