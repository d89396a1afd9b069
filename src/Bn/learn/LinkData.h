// Data sets for learning links, taken from arrays of a host's or read from a case file.
#pragma once

#include <span>

#include "Basic/Errors.h"
#include "Bn/engine/learn/CaseColumns.h"
#include "Bn/model/Records.h"
#include "Win_Face/FileSpec.h"

namespace bravic {

// States of many cases, as LearnLinksCases_bn has them.
struct LinkCases {
  std::span<const node_bn> columns;
  const statetype* states;  // [numCases x columns], checked here
  const double* weights;    // [numCases] or NULL: 1 each
  long numCases;
};
// nodes: of one net, with states; each must have a column. Of a file, rows count as often as its column of numbers of
// cases says.
Failure TakeCases(const LinkCases& cases, std::span<const node_bn> nodes, engine::CaseColumns* data);
Failure ReadCases(filespec_ns file, std::span<const node_bn> nodes, engine::CaseColumns* data);

}  // namespace bravic
