#include "OrvSimFault.h"

#include <algorithm>
#include <cstdlib>

namespace {

bool toNumber(const std::string& text, long low, long high, int& out)
{
    if (text.empty() || text.size() > 9 ||
        !std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; })) {
        return false;
    }
    const long value = std::strtol(text.c_str(), nullptr, 10);
    if (value < low || value > high) {
        return false;
    }
    out = static_cast<int>(value);
    return true;
}

} // namespace

const std::vector<std::string>& OrvSimFault::routes()
{
    static const std::vector<std::string> names = {
        "login",        "summary",       "spots",        "spot-detail", "folders",
        "destinations", "delete-destination", "plans",   "plans-summary", "delete-plans",
        "genres",       "cert",          "shadow",       "shadow-get"};
    return names;
}

bool OrvSimFault::isRoute(const std::string& route)
{
    return route == "*" || std::find(routes().begin(), routes().end(), route) != routes().end();
}

bool OrvSimFault::isShadowRoute(const std::string& route) { return route == "shadow" || route == "shadow-get"; }

std::string OrvSimFault::usualCode(int status)
{
    switch (status) {
    case 400: return "E4001001";
    case 401: return "E4011001";
    case 404: return "E4041001";
    case 500: return "E5001001";
    case 503: return "I5031001";
    default: return std::string();
    }
}

std::string OrvSimFault::text() const
{
    std::string items;
    auto add = [&items](const std::string& item) { items += (items.empty() ? "" : ",") + item; };
    if (status != 0) {
        add(std::to_string(status) + (emptyBody ? ":-" : code.empty() ? "" : ":" + code));
    }
    if (delayMs > 0) {
        add("delay=" + std::to_string(delayMs));
    }
    if (drop) {
        add("drop");
    }
    if (deadMs > 0) {
        add("dead=" + std::to_string(deadMs));
    }
    if (times > 0) {
        add("times=" + std::to_string(times));
    }
    return items;
}

bool OrvSimFault::parse(const std::string& text, std::string& route, OrvSimFault& fault, std::string& error)
{
    const size_t equals = text.find('=');
    if (equals == std::string::npos) {
        error = "expected ROUTE=STATUS[:CODE][,delay=MS][,drop][,dead=MS][,times=N]: " + text;
        return false;
    }
    OrvSimFault result;
    const std::string name = text.substr(0, equals);
    if (!isRoute(name)) {
        error = "unknown route \"" + name + "\"";
        return false;
    }
    std::string rest = text.substr(equals + 1);
    size_t start = 0;
    while (start <= rest.size()) {
        size_t comma = rest.find(',', start);
        if (comma == std::string::npos) {
            comma = rest.size();
        }
        const std::string item = rest.substr(start, comma - start);
        start = comma + 1;
        if (item == "drop") {
            result.drop = true;
        } else if (item.compare(0, 6, "delay=") == 0) {
            if (!toNumber(item.substr(6), 0, 600000, result.delayMs)) {
                error = "bad delay in \"" + item + "\"";
                return false;
            }
        } else if (item.compare(0, 5, "dead=") == 0) {
            if (!toNumber(item.substr(5), 1, 600000, result.deadMs)) {
                error = "bad dead time in \"" + item + "\"";
                return false;
            }
        } else if (item.compare(0, 6, "times=") == 0) {
            if (!toNumber(item.substr(6), 1, 1000000, result.times)) {
                error = "bad count in \"" + item + "\"";
                return false;
            }
        } else {
            const size_t colon = item.find(':');
            if (!toNumber(item.substr(0, colon), 100, 599, result.status)) {
                error = "bad fault item \"" + item + "\"";
                return false;
            }
            if (colon != std::string::npos) {
                const std::string code = item.substr(colon + 1);
                result.emptyBody = code == "-";
                if (!result.emptyBody) {
                    result.code = code;
                }
            }
        }
    }
    if (result.isEmpty()) {
        error = "the fault does nothing: " + text;
        return false;
    }
    route = name;
    fault = result;
    return true;
}
