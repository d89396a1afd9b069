// Writing a net as text: the net block, its statements and the blocks in it. NetFile.h puts the text in place of the
// old file. docs/net-format.md describes the format.
#pragma once

#include "Basic/OutputChannel.h"
#include "Bn/files/NetFormat.h"
#include "Bn/model/Net.h"

namespace bravic {

extern format::PrintOptions printOptions;  // how WriteNet prints

// The whole text of a net, whose tables are in probability form (see PrepareNet). What goes wrong is the channel's
// to tell. False when it is halted.
bool PrintNet(net_bn net, const format::PrintOptions& options, OutputChannel& out);
// Makes the derived data of a net fit to be written: node order, tables in probability form, the beliefs that nodes
// hold while the net's are current.
Failure PrepareNet(net_bn net);

}  // namespace bravic
