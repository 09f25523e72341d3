#include "JsonlLines.h"

#include <nlohmann/json.hpp>

namespace tkit5 {

void JsonlLines::write(std::string_view type, nlohmann::ordered_json const & members) {
    if (lost_) {
        return;
    }
    nlohmann::ordered_json line = {{"type", type}, {"seq", ++written_}};
    for (auto const & [name, value] : members.items()) {
        line[name] = value;
    }
    lost_ = !console_.write(line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n");
}

} // namespace tkit5
