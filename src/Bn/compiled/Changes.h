// What changes of a net do to its compiled side. The model stands below and tells of changes through its hooks
// (InferenceHooks in Bn/model/Net.h); they are set here.
#pragma once

namespace bravic {

void ListenToChanges();

}  // namespace bravic
