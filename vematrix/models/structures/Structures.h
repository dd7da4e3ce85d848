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

/// Column of beam elements along x, pinned at both ends: it turns freely there about y and z, and may
/// shorten.
struct PinnedColumn {
  int elements = 4;
  double length = 5.0;                        ///< m
  BeamSection section = rectangle(0.1, 0.2);  ///< y is horizontal, z vertical: it buckles along y
  Material material = steel();
};
/// Load case 0: a thrust of 1 N on the head.
Model pinnedColumn(const PinnedColumn& column);

/// Truss bridge of pin-ended bars: a box of square panels with diagonals in its four sides and in every
/// cross-section, carried by bearings under the corners of its deck.
struct TrussBridge {
  int panels = 4;
  double panel = 5.0;   ///< length, width and height of a panel, m
  double area = 0.004;  ///< of every bar, m²
};
/// Load case 0: 50 kN on every deck node, and own weight.
Model trussBridge(const TrussBridge& bridge);

/// How the edges of a plate in bending are held.
enum class PlateEdge {
  Soft,    ///< deflection zero
  Hard,    ///< deflection and the rotation about the edge's normal zero: a plate on knife edges
  Clamped  ///< all zero
};

/// Rectangular plate in bending, simply supported all around unless said otherwise.
struct RectangularPlate {
  int nx = 8, ny = 8;
  double lx = 10.0, ly = 10.0, thickness = 0.1;  ///< m
  Material material = steel();
  PlateEdge edge = PlateEdge::Soft;
};
/// Load cases: 0 a uniform pressure of 1000 N/m² downwards; 1 a force of 1000 N downwards at the node nearest
/// to the centre.
Model rectangularPlate(const RectangularPlate& plate);
/// The thin square plate of the vibration benchmark with simple supports: 10 m x 10 m x 0.05 m, E = 200e9
/// N/m², nu = 0.3, rho = 8000 kg/m³, hard simple supports, n x n elements. Frequencies in
/// Hz: 2.377, 5.942, 5.942, 9.507, 11.884, 11.884 (NAFEMS, Selected Benchmarks for Natural Frequency Analysis
/// (1987)).
Model thinSquarePlate(int n);
/// L-shaped plate in bending, 0.1 m thick: three squares of 5 m, each n x n elements, the far edges of both
/// arms clamped. Load case 0: a pressure of 1000 N/m² downwards.
Model lShapedPlate(int n);

/// Quarter of a square sheet with a circular hole under tension, plane stress; the hole's centre is the
/// origin and the edges x = 0 and y = 0 are axes of symmetry.
struct SheetWithHole {
  int n = 4;                ///< elements on an eighth of the hole's edge; 2n from the hole outwards
  double radius = 0.1;      ///< m
  double side = 2.0;        ///< half the side of the sheet, m
  double thickness = 0.01;  ///< m
  double stress = 100.0e6;  ///< tension along x on the edge x = side, N/m²
  Material material = steel();
};
Model sheetWithHole(const SheetWithHole& sheet);

/// The cantilevered tapered membrane of the vibration benchmark FV32: length 10 m along x, width 5 m at the
/// clamped end to 1 m, 0.05 m thick, E = 200e9 N/m², nu = 0.3, rho = 8000 kg/m³, plane stress, 2n x n
/// elements. Frequencies in Hz: 44.623, 130.03, 162.70, 246.05, 379.90, 391.44 (NAFEMS, Selected Benchmarks
/// for Natural Frequency Analysis (1987)). Load case 0: 1000 N downwards (-y) spread over the free end.
Model taperedMembrane(int n);

/// Part of a cylinder with its axis along y, open downwards, of flat shells.
struct CylindricalRoof {
  int nx = 8, ny = 8;                                     ///< elements around and along
  double radius = 25.0, length = 50.0, halfAngle = 40.0;  ///< m, m, degrees
  double thickness = 0.25;                                ///< m
  Material material = concrete();
  bool diaphragms =
      false;  ///< held by rigid diaphragms at its curved ends, else clamped along its straight edges
};
/// Load case 0: its own weight.
Model cylindricalRoof(const CylindricalRoof& roof);

/// Concrete slab of shells on a grid of steel beams on columns, 2 x 2 bays of n x n elements each.
struct SlabOnBeams {
  int n = 4;
  double bay = 6.0, height = 3.5, thickness = 0.2;  ///< m
};
/// Load case 0: own weight and 5 kN/m² on the slab.
Model slabOnBeams(const SlabOnBeams& slab);

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
