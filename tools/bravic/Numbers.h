// Numbers in their millions as text, the same as printf's "%.6g" and ten times as fast.
#pragma once

// Needs room for 16 characters; answers where the text ends.
char* PutNumber(double value, char* at);
