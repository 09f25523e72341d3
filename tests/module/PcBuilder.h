// Described PCs for tests, put together in code: each test shows only what it is about.
#pragma once

#include <nlohmann/json.hpp>

#include <initializer_list>
#include <string>

namespace test {

using Json = nlohmann::ordered_json;

inline constexpr char const * controllerName = "Test Controller";

// A device with its own product name; the instance ID is made from the name.
inline Json device(std::string const & name) {
    return {{"instanceId", "USB\\VID_1234&PID_5678\\" + name},
            {"product", name},
            {"vendorId", "1234"},
            {"productId", "5678"}};
}

inline Json emptyPort(int number) {
    return {{"port", number}, {"protocols", {"1.1", "2.0"}}};
}

inline Json port(int number, std::string const & speed, Json device,
                 std::initializer_list<char const *> protocols = {"1.1", "2.0"}) {
    return {{"port", number}, {"protocols", protocols}, {"speed", speed}, {"device", std::move(device)}};
}

// Adds or replaces members of a part of a description.
inline Json with(Json part, std::initializer_list<std::pair<char const *, Json>> members) {
    for (auto const & [name, value] : members) {
        part[name] = value;
    }
    return part;
}

inline Json hub(std::string const & name, Json ports, int portCount = 4) {
    Json result = device(name);
    result["symbolicName"] = "USB#" + name;
    result["portCount"] = portCount;
    result["ports"] = std::move(ports);
    return result;
}

inline Json hubPort(int number, Json hub, std::string const & speed = "high",
                    std::initializer_list<char const *> protocols = {"1.1", "2.0"}) {
    return {{"port", number}, {"protocols", protocols}, {"speed", speed}, {"hub", std::move(hub)}};
}

inline Json controller(Json ports, std::string const & name = controllerName, int portCount = 8) {
    return {{"name", name},
            {"instanceId", "PCI\\VEN_1111&DEV_2222\\" + name},
            {"rootHub",
             {{"instanceId", "USB\\ROOT_HUB30\\" + name},
              {"symbolicName", "USB#ROOT_HUB30#" + name},
              {"portCount", portCount},
              {"ports", std::move(ports)}}}};
}

inline Json pc(Json controllers) {
    return {{"name", "Test PC"}, {"controllers", std::move(controllers)}};
}

// A PC with one controller and these root ports.
inline Json pcWithPorts(Json ports) {
    return pc(Json::array({controller(std::move(ports))}));
}

} // namespace test
