// What a question is about: the nodes that a host names in one or more lists.
#pragma once

#include "Bn/model/Lists.h"

namespace bravic {

// Whether the nodes of all lists are of one net, which goes to *net (NULL where there are none), and none of them a
// placeholder; else an error is posted.
bool FindNetAsked(std::initializer_list<const nodelist_rec*> lists, net_bn* net);

}  // namespace bravic
