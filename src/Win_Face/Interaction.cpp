#include "Win_Face/Interaction.h"

namespace bravic {

void StartInteraction() {}

void StopInteraction() {}

}  // namespace bravic
