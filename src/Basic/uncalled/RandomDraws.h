// Without a caller in the library: further draws on the library's state of random numbers.
#pragma once

namespace bravic {

int UniformBelow(int n);           // 0 .. n - 1, with real draws for n of 32767 and more
int UniformBelowByInteger(int n);  // with integer draws for every n
double DrawExponential();          // of mean 1
// Puts a random selection of that many entries, in random order, at the front.
void RandomSubset(int* array, int length, int subsetSize);
void RandomSubset(void** array, int length, int subsetSize);
// Exactly so many ones at random places; fills the buffer [length], or one that it allocates.
char* RandomPattern(int length, int numOnes, char* buffer);

}  // namespace bravic
