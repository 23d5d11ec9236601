#pragma once

#include <cstdint>

// A small reader of Wavefront OBJ and MTL text files, kept deliberately procedural: plain records from
// malloc, strings from strdup, read by the rules of the C standard input functions. A model lives only as
// long as the Geometry that copies what it needs out of it.
//
// Contract: glmReadOBJ either returns a model or ends the process with status 1 (unreadable OBJ or MTL
// file, a token starting with 'v' that it does not know, a face index outside the file's ranges). In a
// returned model every index of a kind that its face gives lies in 1..count of that kind; an index of a
// kind the face does not give is 0, and element 0 of every array is zero and never written. A vertex with a
// coordinate that is not a finite number is reported on standard error and kept at the origin. Only regular
// files are opened: a device or a pipe is reported as a file that can't be opened.

namespace verdanium {

struct ObjMaterial {
    char* name; // "default" for material 0; dangles in copies once the model is freed
    int32_t illum;
    float diffuse[4];
    float ambient[4];
    float specular[4];
    float emissive[4]; // the fourth lane starts at 0, unlike the other colours
    float shininess;   // the file's 0..1000 scaled to 0..128
    char* diffuseMap;  // map strings outlive the model on purpose: Geometry keeps shallow copies
    char* specularMap;
    char* ambientMap;
};

struct ObjTriangle {
    uint32_t vertexIndices[3];   // 1-based
    uint32_t normalIndices[3];   // 1-based; 0 when the face gives no normals
    uint32_t texCoordIndices[3]; // 1-based; 0 when the face gives no texture coordinates
    uint32_t facetNormalIndex;   // reserved, never set
    uint32_t material;           // material current when the face was read
};

struct ObjGroup {
    char* name;
    uint32_t triangleCount;
    uint32_t* triangles; // indices into ObjModel::triangles, in file order
    uint32_t material;
    ObjGroup* next;
    // Room in `triangles`. The first pass sizes it; faces ahead of the first `g` line land in the newest
    // group, which was not sized for them, so the second pass grows it rather than write past its end.
    uint32_t capacity;
};

struct ObjModel {
    char* pathName;
    char* materialLibrary; // null if no mtllib line came
    uint32_t vertexCount;
    float* vertices; // three per vertex, vertexCount + 1 elements, element 0 unused
    uint32_t normalCount;
    float* normals; // three per normal, normalCount + 1 elements; null if there are none
    uint32_t texCoordCount;
    float* texCoords;          // two per coordinate, texCoordCount + 1 elements; null if there are none
    uint32_t facetNormalCount; // reserved: zero
    float* facetNormals;       // reserved: null
    uint32_t triangleCount;
    ObjTriangle* triangles;
    uint32_t materialCount;
    ObjMaterial* materials; // null if no mtllib line came
    uint32_t groupCount;
    ObjGroup* groups; // newest group first
    float position[3];
};

// Reads the OBJ file at `path` (and the MTL library it names). Never returns null: on a file that can't be
// opened, or on a fatal defect, it writes a message and exits with status 1.
ObjModel* glmReadOBJ(const char* path);

// Frees the model and everything it owns except the materials' three map strings, which the shallow
// material copies held by Geometry go on using.
void glmFreeModel(ObjModel* model);

// Reads the MTL library `name`, looked for in the directory of the model's path, into the model's
// materials, replacing any read before. Called by the first pass at each mtllib line; exits with status 1
// when the file can't be opened.
void glmReadMTL(ObjModel* model, const char* name);

} // namespace verdanium
