// Where the web page is offered, and which requests are meant for it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sim {

struct WebAddress {
    std::string address = "127.0.0.1";  // an IPv4 or IPv6 address, without brackets
    std::uint16_t port = 8096;          // 0: a free one

    // "[ADDRESS:]PORT", an IPv6 address in brackets, "localhost" for 127.0.0.1; an empty text: the default.
    // Nothing: it is none. Names are not looked up.
    [[nodiscard]] static std::optional<WebAddress> parse(std::string_view text);

    // Only programs of this machine can reach it.
    [[nodiscard]] bool isLoopback() const;
    // E.g. "http://127.0.0.1:8096/".
    [[nodiscard]] std::string url() const;
};

// Whether a request's Host names this machine as it can be reached here. A browser sends the name that the
// page's address has: one that another site has pointed at this machine (DNS rebinding) is refused. On the
// loopback "localhost" and loopback addresses are taken; else all addresses, which cannot be rebound, and
// the machine's own name. The port does not matter: it may be forwarded.
[[nodiscard]] bool hostIsOurs(std::string_view host, const WebAddress& listening);

// Whether a request's Origin is the page itself. Browsers send none with plain reads of the page's own files,
// and always send one when a script opens a WebSocket: empty is taken, another site's and "null" are not.
[[nodiscard]] bool originIsOurs(std::string_view origin, std::string_view host);

}  // namespace sim
