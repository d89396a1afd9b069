#include "Bn/model/Records.h"

#include <bit>
#include <cstdint>

namespace bravic {

const char* const KIND_NAMES[NUM_KINDS] = {"NATURE",       "ASSUME",    "DECISION",    "UTILITY",
                                           "DISCONNECTED", "ADVERSARY", "UNKNOWN_KIND"};
const char* const DISCRETE_NAMES[NUM_DISCRETES] = {"CONTINUOUS", "DISCRETE", "UNKNOWN_DISCRETE"};
const char* const MEASURE_NAMES[NUM_MEASURES] = {"NOMINAL", "LOCAL", "ORDINAL", "INTERVAL", "RATIO", "UNKNOWN_MEASURE"};
const char* const CHANCE_NAMES[NUM_CHANCES] = {"INVERTABLE", "DETERMIN", "CHANCE", "GAUSSIAN", "UNKNOWN_CHANCE"};

const float UNDEF_PROB = std::bit_cast<float>(std::uint32_t{0xFF7F7D30});
const float IMPOS_PROB = std::bit_cast<float>(std::uint32_t{0xFF7EFAE6});
unsigned long long NewShapeEpoch() {
  static unsigned long long last = 0;
  return ++last;
}

const double UNDEF_DBL = std::bit_cast<double>(std::uint64_t{0xFFEFEFA6115F8D89});
const double INF_DBL = std::bit_cast<double>(std::uint64_t{0x7FEFF7D0F16C2E09});
const double IMPOS_DBL = std::bit_cast<double>(std::uint64_t{0xFFEFDF5CD0105197});
const double ANY_DBL = std::bit_cast<double>(std::uint64_t{0xFFEFD73E68701461});

}  // namespace bravic

double undef_dbl_ns = bravic::UNDEF_DBL;
double inf_dbl_ns = bravic::INF_DBL;

// A family of one: the parent array's only slot holds the node itself.
bnode::bnode() : value(bravic::UNDEF_DBL) {
  preds.ar = bravic::NewArray<node_bn>(1);
  preds.ar[0] = this;
}

bnet::bnet() : shapeEpoch(bravic::NewShapeEpoch()), birth(shapeEpoch) {
  elimorder.num = -1;
}
