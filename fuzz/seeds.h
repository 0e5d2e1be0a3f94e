// Small tracks and pictures, one of each kind, that mutations start from.
#pragma once

#include <string>
#include <vector>

namespace tagsmith::fuzz {

std::vector<std::string> Seeds();

}  // namespace tagsmith::fuzz
