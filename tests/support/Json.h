// JSON as tests write and read it. The library's templates are compiled once, in Json.cpp, instead of in every test.
#pragma once

#include <nlohmann/json.hpp>

extern template class nlohmann::basic_json<nlohmann::ordered_map>;
extern template class nlohmann::detail::serializer<nlohmann::ordered_json>;

namespace support {

using Json = nlohmann::ordered_json;

} // namespace support
