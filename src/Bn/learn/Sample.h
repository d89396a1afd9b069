// Random cases from the joint distribution that a net defines, conditioned on the findings entered: forward sampling
// with rejection.
#pragma once

#include <span>

#include "Bn/model/Records.h"
#include "Win_Face/FileSpec.h"

namespace bravic {

enum SampleCode : int {
  SAMPLED = 0,
  SAMPLE_ERROR = -1,
  SAMPLE_IMPOSSIBLE = -11,
  SAMPLE_NO_TABLE = -12,
  SAMPLE_REJECTED = -13
};

// One case, left as the findings of the listed nodes; also when every draw was rejected.
long RandomCase(std::span<const node_bn> nodes, double maxdraws);

struct GenerateOptions {
  long numcases = 0;
  long firstid = -1;  // negative: no identification numbers
  double freq = 0;    // 0: no frequencies
  bool append = false;
};
int GenerateCases(std::span<const node_bn> nodes, filespec_ns file, const GenerateOptions& options);

}  // namespace bravic
