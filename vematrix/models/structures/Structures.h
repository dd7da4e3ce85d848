#pragma once
#include "models/Model.h"
#include "models/elements/Beam.h"

namespace vematrix {
namespace models {

// Structures of any size from a few parameters, in SI units, dofs numbered with the supports deleted. Nodes
// are numbered so that the profile of the matrix stays small. Number of elements along a direction: at least
// 1 unless said otherwise, else std::invalid_argument.

/// Solid block of 8-node bricks.
struct SolidBlock {
  int nx = 1, ny = 1, nz = 1;           ///< elements along x, y, z
  double lx = 1.0, ly = 1.0, lz = 1.0;  ///< edge lengths, m
  Material material = steel();
};
/// Clamped at x = 0. Load cases: 0 a shear force of 1000 N downwards (-z) spread over the face x = lx; 1 its
/// own weight; 2 a pull of 1000 N along x on the same face.
Model solidBlock(const SolidBlock& block);

/// Multi-storey steel frame on a regular grid, columns clamped in the ground, beams along x and y on every
/// floor.
struct SpaceFrame {
  int baysX = 1, baysY = 1, storeys = 1;
  double bay = 6.0, height = 3.5;  ///< spacing of the columns and of the floors, m
};
/// Load cases: 0 own weight with a floor load of 5 kN/m² carried to the nodes, and a wind of 2 kN on every
/// node of the side x = 0 along +x; 1 the wind alone along +y on the side y = 0.
Model spaceFrame(const SpaceFrame& frame);

/// Cantilever of beam elements along x, clamped at x = 0.
struct Cantilever {
  int elements = 1;
  double length = 10.0;                       ///< m
  BeamSection section = rectangle(0.2, 0.3);  ///< y is horizontal, z vertical
  Material material = steel();
};
/// Load case 0: a force of 1000 N downwards (-z) at the tip; 1: 1000 N along +y at the tip; 2: its own
/// weight.
Model cantilever(const Cantilever& beam);

// Singular variants of any structure.

/// Adds one dof without stiffness: a node of its own, half a metre beside the last node and tied to it in all
/// of the last node's components but the first. Renumbers the dofs.
/// @return the number of the loose dof
int addLooseDof(Model& model);

/// The structure and an unsupported copy of it on the far side of its last node, joined there by stiff
/// springs that carry the forces but no moments. Renumbers the dofs. The copy keeps every rigid-body mode
/// that leaves the joint in place: three for structures in space, two for plates in bending, one for
/// membranes.
Model withMechanism(const Model& model);

}  // namespace models
}  // namespace vematrix
