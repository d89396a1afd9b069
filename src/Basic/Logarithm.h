// Logarithms in plain arithmetic, so that they are the same bits on every platform: what is decided by them, as which
// link is learned, must not depend on whose library is linked. Both are good to a few units in the last place.
#pragma once

namespace bravic {

double NaturalLog(double x);        // of a positive normal number
double LogGammaFunction(double x);  // of a positive number

}  // namespace bravic
