#pragma once

// The five rocks that the scene scatters: data/models/asteroid/random/asteroid1
// to asteroid5, each an OBJ, an MTL and an albedo texture.

#include "model_report.h"
#include "output_files.h"

#include <vector>

namespace verdanium::datagen {

std::vector<ModelReport> generateAsteroids(OutputTree& out);

} // namespace verdanium::datagen
