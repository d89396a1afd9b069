// The reader of a case file that a file specification keeps between calls, so that cases read one by one find the
// columns planned and the next rows in memory. It holds as long as the file is unchanged and the net has the nodes,
// names, states and levels that the columns were planned for; the file itself is closed meanwhile.
#pragma once

#include <span>

#include "Bn/files/CaseReader.h"
#include "Win_Face/FileSpec.h"

namespace bravic {

// The reader kept of the file if it still holds for these nodes, else a new one at the file's first row, which is kept
// in its place. net may be NULL without nodes. blockSize: of a new one.
Failure TakeReader(filespec_ns file, net_bn net, std::span<const node_bn> nodes, std::size_t blockSize,
                   CaseReader** reader);

}  // namespace bravic
