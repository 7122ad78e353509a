// Builds the demo module's planet into the test program until the build adds
// modules/demo/Planet.cpp to the test sources itself; then this file goes.
#include "../../modules/demo/Planet.cpp"
