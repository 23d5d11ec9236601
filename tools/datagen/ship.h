#pragma once

// The ship: data/models/ship/serenity/Hull.obj, EngineL.obj, EngineR.obj and
// EngineRotor.obj, each with its MTL file, and the textures they share.

#include "model_report.h"
#include "output_files.h"

#include <vector>

namespace verdanium::datagen {

std::vector<ModelReport> generateShip(OutputTree& out);

} // namespace verdanium::datagen
