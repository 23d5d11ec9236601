#pragma once

// Wavefront OBJ and MTL text in the one form the program's reader takes: every
// face as "v/vt/vn" triangles with positive indices, "mtllib" first, each group
// opened by "g" and "usemtl" before its faces, and materials given by newmtl,
// Ka, Kd, Ks, Ns, illum and map_Kd only.

#include "mesh.h"

#include <string>
#include <vector>

namespace verdanium::datagen {

struct MaterialRecord {
    std::string name;
    Vector3 ambient;
    Vector3 diffuse;
    Vector3 specular;
    double shininess = 0.0; // the file's range, 0 to 1000
    int illumination = 2;
    // The texture path as the running program sees it: the reader hands it to
    // the image loader unchanged, relative to the program's working folder.
    std::string diffuseMap;
};

struct MeshGroup {
    std::string name;
    std::string material;
    Surface surface;
    double creaseDegrees = 40.0;
};

// Positions with 4 decimals (a tenth of a thousandth of a world unit), texture
// coordinates and normals with 6. Repeated values are written once.
std::string encodeObj(const std::string& materialLibrary, const std::vector<MeshGroup>& groups);

std::string encodeMtl(const std::vector<MaterialRecord>& materials);

} // namespace verdanium::datagen
