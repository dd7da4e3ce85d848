#include "models/elements/Truss.h"
#include "models/structures/Grid.h"
#include "models/structures/Structures.h"

namespace vematrix {
namespace models {
namespace {

// The corners of a cross-section, counter-clockwise from the deck's side y = 0.
enum Corner { DeckNear = 0, DeckFar = 1, RoofFar = 2, RoofNear = 3 };

}  // namespace

Model trussBridge(const TrussBridge& p) {
  requireAtLeast(p.panels, 1, "truss bridge", "panels");
  Model model;
  const auto node = [](int section, int corner) { return 4 * section + corner; };
  for (int s = 0; s <= p.panels; ++s) {
    model.addNode(s * p.panel, 0.0, 0.0);
    model.addNode(s * p.panel, p.panel, 0.0);
    model.addNode(s * p.panel, p.panel, p.panel);
    model.addNode(s * p.panel, 0.0, p.panel);
  }
  const int bar = model.addType(std::make_shared<Truss>(steel(), p.area));
  for (int s = 0; s <= p.panels; ++s) {
    for (int c = 0; c < 4; ++c) model.addElement(bar, {node(s, c), node(s, (c + 1) % 4)});
    model.addElement(bar, {node(s, DeckNear), node(s, RoofFar)});
  }
  for (int s = 0; s < p.panels; ++s)
    for (int c = 0; c < 4; ++c) {
      model.addElement(bar, {node(s, c), node(s + 1, c)});
      model.addElement(bar, {node(s, c), node(s + 1, (c + 1) % 4)});
    }

  for (int corner : {DeckNear, DeckFar}) {
    model.fix(node(0, corner), Ux);
    model.fix(node(0, corner), Uz);
    model.fix(node(p.panels, corner), Uz);
  }
  model.fix(node(0, DeckNear), Uy);
  model.fix(node(p.panels, DeckNear), Uy);
  for (int s = 0; s <= p.panels; ++s)
    for (int corner : {DeckNear, DeckFar}) model.addLoad(node(s, corner), Uz, -50000.0, 0);
  model.addAcceleration({0.0, 0.0, -9.81}, 0);
  model.numberDofs();
  return model;
}

}  // namespace models
}  // namespace vematrix
