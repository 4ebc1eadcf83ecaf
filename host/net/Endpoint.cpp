#include "host/net/Endpoint.h"

#include <charconv>

#include <fmt/format.h>

namespace replication {

namespace {

constexpr std::string_view kTcp = "tcp://";
constexpr std::string_view kIpc = "ipc://";
constexpr std::string_view kLocalhost = "tcp://localhost:";

bool StartsWith(std::string_view text, std::string_view prefix) {
    return text.substr(0, prefix.size()) == prefix;
}

}  // namespace

std::optional<std::string> SnapshotEndpoint(const std::string& endpoint, std::string& error) {
    if (StartsWith(endpoint, kIpc) && endpoint.size() > kIpc.size()) {
        if (endpoint[kIpc.size()] == '@') {
            error = fmt::format(
                "{}: an abstract socket (ipc://@NAME) is open to every local user; give a "
                "path in a folder of yours, or tcp://",
                endpoint);
            return std::nullopt;
        }
        return endpoint + ".snapshot";
    }
    const std::size_t colon = endpoint.rfind(':');
    if (!StartsWith(endpoint, kTcp) || colon < kTcp.size()) {
        error = fmt::format("{}: expected tcp://HOST:PORT or ipc://PATH", endpoint);
        return std::nullopt;
    }
    const std::string_view portText = std::string_view(endpoint).substr(colon + 1);
    unsigned port = 0;
    const auto [end, status] =
        std::from_chars(portText.data(), portText.data() + portText.size(), port);
    if (status != std::errc() || end != portText.data() + portText.size() || port == 0 ||
        port >= 65535) {
        error = fmt::format(
            "{}: the port must be a number from 1 to 65534 (snapshots are "
            "served on the next port)",
            endpoint);
        return std::nullopt;
    }
    return fmt::format("{}:{}", endpoint.substr(0, colon), port + 1);
}

bool IsLoopback(const std::string& endpoint) {
    if (!StartsWith(endpoint, kTcp)) {
        return StartsWith(endpoint, kIpc) && !StartsWith(endpoint, "ipc://@");
    }
    const std::string_view host =
        std::string_view(endpoint).substr(kTcp.size(), endpoint.rfind(':') - kTcp.size());
    return StartsWith(host, "127.") || host == "localhost" || host == "[::1]";
}

bool IsIpv6(const std::string& endpoint) {
    return StartsWith(endpoint, "tcp://[");
}

std::string BindableEndpoint(const std::string& endpoint) {
    return StartsWith(endpoint, kLocalhost)
               ? "tcp://127.0.0.1:" + endpoint.substr(kLocalhost.size())
               : endpoint;
}

}  // namespace replication
