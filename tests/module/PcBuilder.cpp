#include "PcBuilder.h"

#include <utility>

namespace test {

Json device(std::string const & name) {
    return {{"instanceId", "USB\\VID_1234&PID_5678\\" + name},
            {"product", name},
            {"vendorId", "1234"},
            {"productId", "5678"}};
}

Json emptyPort(int number) {
    return {{"port", number}, {"protocols", {"1.1", "2.0"}}};
}

Json port(int number, std::string const & speed, Json device, std::initializer_list<char const *> protocols) {
    return {{"port", number}, {"protocols", protocols}, {"speed", speed}, {"device", std::move(device)}};
}

Json with(Json part, std::initializer_list<std::pair<char const *, Json>> members) {
    for (auto const & [name, value] : members) {
        part[name] = value;
    }
    return part;
}

Json hub(std::string const & name, Json ports, int portCount) {
    Json result = device(name);
    result["symbolicName"] = "USB#" + name;
    result["portCount"] = portCount;
    result["ports"] = std::move(ports);
    return result;
}

Json hubPort(int number, Json hub, std::string const & speed, std::initializer_list<char const *> protocols) {
    return {{"port", number}, {"protocols", protocols}, {"speed", speed}, {"hub", std::move(hub)}};
}

Json controller(Json ports, std::string const & name, int portCount) {
    return {{"name", name},
            {"instanceId", "PCI\\VEN_1111&DEV_2222\\" + name},
            {"rootHub",
             {{"instanceId", "USB\\ROOT_HUB30\\" + name},
              {"symbolicName", "USB#ROOT_HUB30#" + name},
              {"portCount", portCount},
              {"ports", std::move(ports)}}}};
}

Json pc(Json controllers) {
    return {{"name", "Test PC"}, {"controllers", std::move(controllers)}};
}

Json pcWithPorts(Json ports) {
    return pc(Json::array({controller(std::move(ports))}));
}

} // namespace test
