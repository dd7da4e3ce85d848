#include "models/Registry.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <functional>
#include <sstream>
#include <stdexcept>

#include "models/Memory.h"
#include "models/structures/Structures.h"

namespace vematrix {
namespace models {
namespace {

using Sizes = std::vector<int>;

/// Number of elements, about: the product of the sizes (doubles, which do not overflow).
double product(const Sizes& s) {
  double count = 1.0;
  for (int size : s) count *= size;
  return count;
}
double square(const Sizes& s) {
  return product({s[0], s[0]});
}

struct Entry {
  ModelRecipe recipe;
  std::function<Model(const Sizes&)> build;
  double (*numElements)(const Sizes&) = product;
};

const std::vector<Entry>& entries() {
  static const std::vector<Entry> all{
      {{"brick", {"n"}, "cube of n x n x n 8-node bricks, one face clamped", "brick:4"},
       [](const Sizes& s) {
         return solidBlock({s[0], s[0], s[0]});
       },
       [](const Sizes& s) {
         return product({s[0], s[0], s[0]});
       }},
      {{"bar", {"a", "b"}, "solid bar of a x a x b 8-node bricks of 0.1 m, one end clamped", "bar:2:10"},
       [](const Sizes& s) {
         return solidBlock({s[1], s[0], s[0], 0.1 * s[1], 0.1 * s[0], 0.1 * s[0]});
       },
       [](const Sizes& s) {
         return product({s[0], s[0], s[1]});
       }},
      {{"plate",
        {"nx", "ny"},
        "simply supported plate in bending, 3 dofs a node, 10 m x 10 m x 0.1 m",
        "plate:6:6"},
       [](const Sizes& s) {
         return rectangularPlate({s[0], s[1]});
       }},
      {{"shell",
        {"nx", "ny"},
        "cylindrical roof of flat shells, 6 dofs a node, straight edges clamped",
        "shell:6:4"},
       [](const Sizes& s) {
         return cylindricalRoof({s[0], s[1]});
       }},
      {{"frame",
        {"bays-x", "bays-y", "storeys"},
        "multi-storey steel frame of beams, clamped in the ground",
        "frame:2:2:3"},
       [](const Sizes& s) {
         return spaceFrame({s[0], s[1], s[2]});
       }},
      {{"truss", {"panels"}, "truss bridge of pin-ended bars", "truss:6"},
       [](const Sizes& s) { return trussBridge({s[0]}); }},
      {{"slab", {"n"}, "concrete slab on steel beams and columns, 2 x 2 bays of n x n shells", "slab:2"},
       [](const Sizes& s) { return slabOnBeams({s[0]}); },
       square},
      {{"lplate", {"n"}, "L-shaped plate in bending, arms clamped at their ends", "lplate:3"},
       [](const Sizes& s) { return lShapedPlate(s[0]); },
       square},
      {{"hole", {"n"}, "quarter of a sheet with a circular hole under tension, plane stress", "hole:3"},
       [](const Sizes& s) { return sheetWithHole({s[0]}); },
       square},
      {{"taper", {"n"}, "cantilevered tapered membrane of the benchmark FV32, 2n x n elements", "taper:3"},
       [](const Sizes& s) { return taperedMembrane(s[0]); },
       square},
      {{"thinplate", {"n"}, "simply supported thin square plate of the vibration benchmark", "thinplate:6"},
       [](const Sizes& s) { return thinSquarePlate(s[0]); },
       square},
      {{"cantilever", {"n"}, "cantilever of n beams, 10 m long", "cantilever:10"},
       [](const Sizes& s) { return cantilever({s[0]}); }},
      {{"column", {"n"}, "column of n beams pinned at both ends, 5 m long", "column:6"},
       [](const Sizes& s) { return pinnedColumn({s[0]}); }},
  };
  return all;
}

std::vector<std::string> split(const std::string& name) {
  std::vector<std::string> fields;
  std::string field;
  std::istringstream in(name);
  while (std::getline(in, field, ':')) fields.push_back(field);
  if (!name.empty() && name.back() == ':') fields.emplace_back();
  return fields;
}

std::string join(const std::vector<std::string>& words, const char* between) {
  std::string text;
  for (const auto& word : words) text += (text.empty() ? "" : between) + word;
  return text;
}

const Entry& find(const std::string& name, const std::string& wanted) {
  std::vector<std::string> known;
  for (const Entry& entry : entries()) {
    if (entry.recipe.name == wanted) return entry;
    known.push_back(entry.recipe.name);
  }
  throw std::invalid_argument("model '" + name + "': unknown structure '" + wanted + "'; known are " +
                              join(known, ", "));
}

int parseSize(const std::string& name, const std::string& parameter, const std::string& field) {
  errno = 0;
  char* end = nullptr;
  const long value = std::strtol(field.c_str(), &end, 10);
  if (field.empty() || *end != '\0' || errno != 0 || value < 1 || value > 100000)
    throw std::invalid_argument("model '" + name + "': " + parameter + " is '" + field +
                                "', expected a whole number from 1 to 100000");
  return static_cast<int>(value);
}

/// Before anything is built: nodes, connectivity and dofs take about 200 bytes an element.
void refuseHugeModel(const std::string& name, double numElements) {
  const double bytes = 200.0 * numElements;
  if (numElements > 1e8 || bytes > 0.8 * physicalMemory())
    throw std::invalid_argument("model '" + name +
                                "': more elements than this machine can hold, expected smaller sizes");
}

}  // namespace

const std::vector<ModelRecipe>& modelCatalogue() {
  static const std::vector<ModelRecipe> catalogue = [] {
    std::vector<ModelRecipe> all;
    for (const Entry& entry : entries()) all.push_back(entry.recipe);
    return all;
  }();
  return catalogue;
}

Model makeModel(const std::string& name) {
  std::vector<std::string> fields = split(name);
  if (fields.empty()) throw std::invalid_argument("the model name is empty; a name looks like brick:20");
  const Entry& entry = find(name, fields[0]);
  const auto& parameters = entry.recipe.parameters;

  std::string variant;
  const std::string& last = fields.back();
  if (last == "free" || last == "loose" || last == "mechanism") {
    variant = last;
    fields.pop_back();
  }
  if (fields.size() != parameters.size() + 1)
    throw std::invalid_argument("model '" + name + "': expected " + entry.recipe.name + ":" +
                                join(parameters, ":") + ", for example " + entry.recipe.sample);
  Sizes sizes;
  for (std::size_t k = 0; k < parameters.size(); ++k)
    sizes.push_back(parseSize(name, parameters[k], fields[k + 1]));

  refuseHugeModel(name, entry.numElements(sizes));
  Model model = entry.build(sizes);
  if (variant == "free") model.numberDofs(Supports::Free);
  if (variant == "loose") addLooseDof(model);
  if (variant == "mechanism") model = withMechanism(model);
  return model;
}

}  // namespace models
}  // namespace vematrix
