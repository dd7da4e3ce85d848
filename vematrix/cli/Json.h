#pragma once
#include <nlohmann/json.hpp>

namespace vematrix {
namespace cli {

/// Keys stay in the order in which they were set.
using Json = nlohmann::ordered_json;

}  // namespace cli
}  // namespace vematrix
