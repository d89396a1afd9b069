#include "Bn/files/KeptReader.h"

#include <algorithm>

namespace bravic {
namespace {

struct KeptReader {
  CaseReader reader;
  net_bn net = nullptr;
  unsigned long long shapeEpoch = 0;  // of the net when the columns were planned
  Vector<node_bn> nodes;
};

bool HoldsFor(const KeptReader& kept, net_bn net, std::span<const node_bn> nodes) {
  return kept.net == net && (!net || kept.shapeEpoch == net->shapeEpoch) &&
         std::equal(kept.nodes.begin(), kept.nodes.end(), nodes.begin(), nodes.end()) && kept.reader.IsCurrent();
}

}  // namespace

Failure TakeReader(filespec_ns file, net_bn net, std::span<const node_bn> nodes, std::size_t blockSize,
                   CaseReader** reader) {
  auto* kept = static_cast<KeptReader*>(file->kept);
  if (!kept || !HoldsFor(*kept, net, nodes)) {
    DropKept(file);
    kept = NewObject<KeptReader>();
    file->kept = kept;
    file->freeKept = [](void* object) { DeleteObject(static_cast<KeptReader*>(object)); };
    kept->net = net;
    kept->shapeEpoch = net ? net->shapeEpoch : 0;
    kept->nodes.assign(nodes.begin(), nodes.end());
    const HeadOptions options = {file->name, net, nodes, !file->toldColumns};
    if (Failure failure = kept->reader.Open(options, blockSize)) {
      DropKept(file);
      return failure;
    }
    file->toldColumns = true;
  }
  kept->reader.ForgetUnfit();
  *reader = &kept->reader;
  return nullptr;
}

}  // namespace bravic
