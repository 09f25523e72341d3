#include "Json.h"

template class nlohmann::basic_json<nlohmann::ordered_map>;
template class nlohmann::detail::serializer<nlohmann::ordered_json>;
