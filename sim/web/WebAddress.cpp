#include "sim/web/WebAddress.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>

#include "sim/base/Text.h"

namespace sim {
namespace {

constexpr int kMaxPort = 65535;
constexpr std::string_view kLocalhost = "localhost";
constexpr std::string_view kScheme = "http://";

bool isIpv4(const std::string& text) {
    in_addr address{};
    return ::inet_pton(AF_INET, text.c_str(), &address) == 1;
}

bool isIpv6(const std::string& text) {
    in6_addr address{};
    return ::inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

bool isLoopbackAddress(const std::string& text) {
    in_addr four{};
    if (::inet_pton(AF_INET, text.c_str(), &four) == 1) {
        return ntohl(four.s_addr) >> 24U == 127;
    }
    in6_addr six{};
    return ::inet_pton(AF_INET6, text.c_str(), &six) == 1 && IN6_IS_ADDR_LOOPBACK(&six);
}

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

// "NAME", "NAME:PORT", "[V6]" or "[V6]:PORT" in two; a port that is not there is empty, and so is all that is
// none of these.
struct HostAndPort {
    std::string host;
    std::string port;
    bool bracketed = false;
};

HostAndPort split(std::string_view text) {
    const std::size_t bracket = text.find(']');
    if (!text.empty() && text.front() == '[' && bracket != std::string_view::npos) {
        const std::string_view rest = text.substr(bracket + 1);
        if (!rest.empty() && rest.front() != ':') {
            return {};
        }
        return {std::string(text.substr(1, bracket - 1)), std::string(rest.substr(rest.empty() ? 0 : 1)),
                true};
    }
    const std::size_t colon = text.rfind(':');
    if (colon == std::string_view::npos) {
        return {std::string(text), "", false};
    }
    return {std::string(text.substr(0, colon)), std::string(text.substr(colon + 1)), false};
}

std::string machineName() {
    std::array<char, 256> name{};
    return ::gethostname(name.data(), name.size() - 1) == 0 ? lowerCase(name.data()) : std::string();
}

}  // namespace

std::optional<WebAddress> WebAddress::parse(std::string_view text) {
    WebAddress result;
    if (text.empty()) {
        return result;
    }
    const bool portAlone = text.find(':') == std::string_view::npos;
    HostAndPort parts = portAlone ? HostAndPort{result.address, std::string(text), false} : split(text);
    if (parts.host == kLocalhost) {
        parts.host = result.address;
    }
    const auto port = parseInt(parts.port, 0, kMaxPort);
    if (!port || !(parts.bracketed ? isIpv6(parts.host) : isIpv4(parts.host))) {
        return std::nullopt;
    }
    result.address = parts.host;
    result.port = static_cast<std::uint16_t>(*port);
    return result;
}

bool WebAddress::isLoopback() const {
    return isLoopbackAddress(address);
}

std::string WebAddress::url() const {
    const bool six = address.find(':') != std::string::npos;
    return std::string(kScheme) + (six ? '[' + address + ']' : address) + ':' + std::to_string(port) + '/';
}

bool hostIsOurs(std::string_view host, const WebAddress& listening) {
    const HostAndPort parts = split(host);
    const std::string name = lowerCase(parts.host);
    if (name == kLocalhost || isLoopbackAddress(name)) {
        return true;
    }
    return !listening.isLoopback() &&
           (parts.bracketed ? isIpv6(name) : isIpv4(name) || (!name.empty() && name == machineName()));
}

bool originIsOurs(std::string_view origin, std::string_view host) {
    return origin.empty() || lowerCase(origin) == std::string(kScheme) + lowerCase(host);
}

}  // namespace sim
