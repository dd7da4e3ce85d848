#pragma once
#include <string>
#include <vector>

#include "models/Model.h"

namespace vematrix {
namespace models {

/// A structure that makeModel can build.
struct ModelRecipe {
  std::string name;                     ///< for example "brick"
  std::vector<std::string> parameters;  ///< what the numbers after the name mean
  std::string description;              ///< one line
  std::string sample;                   ///< a small instance, for example "brick:4"
};

/// All structures, in the order of the documentation.
const std::vector<ModelRecipe>& modelCatalogue();

/// Builds a structure from a name with its sizes, "brick:20" or "frame:10:10:15".
///
/// A last field makes a singular variant: ":free" keeps the supported dofs ("brick:4:free" floats), ":loose"
/// adds one dof without stiffness, ":mechanism" hangs an unsupported copy of the structure on its last node
/// by a joint that carries forces but no moments.
/// @throws std::invalid_argument saying what is wrong with the name and what was expected
Model makeModel(const std::string& name);

}  // namespace models
}  // namespace vematrix
