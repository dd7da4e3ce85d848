// vematrix model: a structure from the catalogue as matrices, loads and mesh.
#include <filesystem>
#include <memory>

#include "Commands.h"
#include "Format.h"
#include "Input.h"
#include "Program.h"
#include "models/Registry.h"
#include "models/io/FileError.h"
#include "models/io/MatrixMarketWriter.h"
#include "models/io/VtuMesh.h"

namespace vematrix {
namespace cli {
namespace {

struct ModelOptions {
  std::string name, folder = ".";
  std::vector<std::string> sizes;
  bool lumped = false, list = false;
};

std::string catalogueText() {
  std::string text = "Models:\n";
  for (const models::ModelRecipe& recipe : models::modelCatalogue()) {
    std::string call = recipe.name;
    for (const std::string& parameter : recipe.parameters) call += ":" + parameter;
    text += fmt::format("  {:<34} {}\n", call, recipe.description);
  }
  return text + "A last field :free, :loose or :mechanism makes a singular variant.\n";
}

Outcome listModels(Console& console) {
  Outcome outcome;
  outcome.json["models"] = Json::array();
  for (const models::ModelRecipe& recipe : models::modelCatalogue())
    outcome.json["models"].push_back({{"name", recipe.name},
                                      {"parameters", recipe.parameters},
                                      {"description", recipe.description},
                                      {"sample", recipe.sample}});
  console.print("{}", catalogueText());
  return outcome;
}

models::Model build(const ModelOptions& options) {
  std::string name = options.name;
  for (const std::string& size : options.sizes) name += ":" + size;
  return buildModel(name, " (vematrix model --list shows what there is)");
}

void createFolder(const std::string& folder) {
  std::error_code error, unknown;
  std::filesystem::create_directories(folder, error);
  if (std::filesystem::is_directory(folder, unknown)) return;
  if (!error) error = unknown;
  throw models::FileError(folder, "cannot be created as a folder" + (error ? ": " + error.message() : ""));
}

Outcome writeModel(Console& console, const ModelOptions& options) {
  if (options.list) return listModels(console);
  if (options.name.empty())
    throw UsageError("the name of a model is missing (vematrix model --list shows what there is)");
  const models::Model model = build(options);
  createFolder(options.folder);
  const auto path = [&](const char* file) { return (std::filesystem::path(options.folder) / file).string(); };
  models::writeMatrixMarket(path("K.mtx"), model.stiffnessTerms());
  models::writeMatrixMarket(path("M.mtx"), options.lumped ? model.lumpedMassTerms() : model.massTerms());
  Eigen::MatrixXd loads(model.numDofs(), std::max(1, model.numLoadCases()));
  loads.setZero();
  for (int c = 0; c < model.numLoadCases(); ++c) loads.col(c) = model.loads(c);
  models::writeDenseColumns(path("f.mtx"), loads);
  models::writeVtu(path("model.vtu"), models::toVtuMesh(model));
  console.print("{} nodes, {} elements, {} dofs, {} load case{}\n  wrote {}, {}, {}, {}\n",
                count(model.numNodes()), count(model.numElements()), count(model.numDofs()),
                model.numLoadCases(), model.numLoadCases() == 1 ? "" : "s", path("K.mtx"), path("M.mtx"),
                path("f.mtx"), path("model.vtu"));
  Outcome outcome;
  outcome.json = {{"model", options.name},
                  {"nodes", model.numNodes()},
                  {"elements", model.numElements()},
                  {"dofs", model.numDofs()},
                  {"load_cases", model.numLoadCases()},
                  {"files", {path("K.mtx"), path("M.mtx"), path("f.mtx"), path("model.vtu")}}};
  return outcome;
}

}  // namespace

void addModel(Program& program) {
  const auto options = std::make_shared<ModelOptions>();
  CLI::App* command = program.addCommand(
      "model", "Write a structure as K.mtx, M.mtx, f.mtx and model.vtu",
      "  vematrix model --list                   what structures there are\n"
      "  vematrix model brick:20 -o brick        a solid bar, 20 elements in the cross-section\n"
      "  vematrix model frame 10 10 15 -o frame  the same as frame:10:10:15");
  command->add_option("name", options->name, "Name and sizes, for example brick:20");
  command->add_option("sizes", options->sizes, "Sizes, where they are not part of the name");
  command->add_option("-o,--output", options->folder, "Folder for the files (default: this one)")
      ->type_name("DIR");
  command->add_flag("--lumped", options->lumped, "Lumped instead of consistent mass");
  command->add_flag("--list", options->list, "List the models and their sizes");
  program.setRun(command, [options](Console& console) { return writeModel(console, *options); });
}

}  // namespace cli
}  // namespace vematrix
