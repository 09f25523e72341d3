// Described PCs for tests, put together in code: each test shows only what it is about.
#pragma once

#include "support/Json.h"

#include <initializer_list>
#include <string>
#include <utility>

namespace test {

using support::Json;

inline constexpr char const * controllerName = "Test Controller";

// A device with its own product name; the instance ID is made from the name.
Json device(std::string const & name);

Json emptyPort(int number);

Json port(int number, std::string const & speed, Json device,
          std::initializer_list<char const *> protocols = {"1.1", "2.0"});

// Adds or replaces members of a part of a description.
Json with(Json part, std::initializer_list<std::pair<char const *, Json>> members);

Json hub(std::string const & name, Json ports, int portCount = 4);

Json hubPort(int number, Json hub, std::string const & speed = "high",
             std::initializer_list<char const *> protocols = {"1.1", "2.0"});

Json controller(Json ports, std::string const & name = controllerName, int portCount = 8);

Json pc(Json controllers);

// A PC with one controller and these root ports.
Json pcWithPorts(Json ports);

} // namespace test
