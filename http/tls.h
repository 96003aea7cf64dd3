// TLS 1.2 and newer, for a server.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "http/secure_channel.h"

namespace http {

// Of files in PEM: the certificate with those that vouch for it, and its private key. Renewed ones
// serve the connections that come after; complain hears, on the network's thread, why they cannot.
// std::runtime_error names the file that cannot be read, is none, or does not belong to the other.
std::shared_ptr<SecureLayer> LoadTls(const std::string& certificate, const std::string& key,
                                     std::function<void(const std::string&)> complain);

}  // namespace http
