// The MTL half of the OBJ reader: two passes over the library, the first counting materials by the first
// letter of each line, the second filling them.

#include "geometry/obj_reader.h"
#include "geometry/obj_reader_number.h"
#include "geometry/obj_reader_text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace verdanium {

using namespace obj_text;

namespace {

void initialiseMaterial(ObjMaterial* material) {
    const ObjMaterial initial = {
        nullptr,                  // name
        0,                        // illum
        {0.8f, 0.8f, 0.8f, 1.0f}, // diffuse
        {0.2f, 0.2f, 0.2f, 1.0f}, // ambient
        {0.0f, 0.0f, 0.0f, 1.0f}, // specular
        {0.0f, 0.0f, 0.0f, 0.0f}, // emissive: its fourth lane is 0, unlike the others
        65.0f,                    // shininess
        nullptr,
        nullptr,
        nullptr,
    };
    *material = initial;
}

// The directory part of the model's path (up to and including the last forward slash) followed by `name`.
// Backslashes are not separators here; a path written with them finds its library in the working directory.
char* libraryPath(const char* modelPath, const char* name) {
    const char* lastSlash = std::strrchr(modelPath, '/');
    size_t directoryLength = lastSlash ? size_t(lastSlash - modelPath) + 1 : 0;
    size_t nameLength = std::strlen(name);
    char* path = static_cast<char*>(std::malloc(directoryLength + nameLength + 1));
    std::memcpy(path, modelPath, directoryLength);
    std::memcpy(path + directoryLength, name, nameLength + 1);
    return path;
}

// Materials of an earlier mtllib line in the same file: nothing has copied them yet, so all of it goes.
void freeMaterials(ObjModel* model) {
    for (uint32_t i = 0; i < model->materialCount; ++i) {
        ObjMaterial& material = model->materials[i];
        std::free(material.name);
        std::free(material.diffuseMap);
        std::free(material.specularMap);
        std::free(material.ambientMap);
    }
    std::free(model->materials);
    model->materials = nullptr;
    model->materialCount = 0;
}

uint32_t countMaterials(TextCursor& file) {
    char buffer[kBufferSize];
    uint32_t count = 1; // the implicit "default" material ahead of the file's own
    while (readToken(file, buffer)) {
        if (buffer[0] == 'n')
            ++count;
        readRestOfLine(file, buffer);
    }
    return count;
}

void readColour(TextCursor& file, float* colour) {
    // Only the first three lanes: the fourth keeps its initial value.
    readFloats(file, colour, 3);
}

void readMapName(TextCursor& file, char*& map) {
    char rest[kBufferSize];
    char word[kBufferSize];
    readRestOfLine(file, rest);
    if (!firstWord(rest, word))
        return;
    std::free(map);
    map = strdup(word);
}

void fillMaterials(ObjModel* model, TextCursor& file) {
    char buffer[kBufferSize];
    char word[kBufferSize];
    uint32_t current = 0;
    while (readToken(file, buffer)) {
        ObjMaterial& material = model->materials[current];
        switch (buffer[0]) {
        case 'K':
            if (buffer[1] == 'a')
                readColour(file, material.ambient);
            else if (buffer[1] == 'd')
                readColour(file, material.diffuse);
            else if (buffer[1] == 's')
                readColour(file, material.specular);
            else
                skipLine(file);
            break;
        case 'N':
            // Any token of this letter, Ni as well as Ns: the last one in a material wins.
            readFloat(file, &material.shininess);
            material.shininess *= 0.001f;
            material.shininess *= 128.0f;
            break;
        case 'i':
            readInt(file, &material.illum);
            break;
        case 'm':
            if (std::strncmp(buffer, "map_Kd", 6) == 0)
                readMapName(file, material.diffuseMap);
            else if (std::strncmp(buffer, "map_Ks", 6) == 0)
                readMapName(file, material.specularMap);
            else if (std::strncmp(buffer, "map_Ka", 6) == 0)
                readMapName(file, material.ambientMap);
            else
                skipLine(file);
            break;
        case 'n': {
            readRestOfLine(file, buffer);
            if (!firstWord(buffer, word))
                word[0] = '\0';
            // The count came from first letters of lines; an `n` word further along a line (after a colour,
            // say) was not counted, so it may not open a material beyond the array.
            if (current + 1 < model->materialCount) {
                ++current;
                model->materials[current].name = strdup(word);
            }
            break;
        }
        default:
            skipLine(file);
            break;
        }
    }
}

} // namespace

void glmReadMTL(ObjModel* model, const char* name) {
    char* path = libraryPath(model->pathName, name);
    TextCursor file;
    if (!readTextFile(path, file)) {
        std::fprintf(stderr, "glmReadMTL() failed: can't open material file \"%s\".\n", path);
        std::exit(1);
    }
    std::free(path);

    freeMaterials(model);
    model->materialCount = countMaterials(file);
    file.position = 0;

    model->materials = static_cast<ObjMaterial*>(std::malloc(sizeof(ObjMaterial) * model->materialCount));
    for (uint32_t i = 0; i < model->materialCount; ++i)
        initialiseMaterial(&model->materials[i]);
    model->materials[0].name = strdup("default");

    fillMaterials(model, file);
}

} // namespace verdanium
