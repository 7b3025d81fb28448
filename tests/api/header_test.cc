// The same header checks, compiled as C++.
#include "header_test.c"
