// The OBJ half of the reader. The file's text is walked twice: the first pass counts vertices, faces and
// groups (and reads the material library), the second fills arrays of exactly the counted size.
//
// Tests look at the first one or two characters of a token only, and a face ends where scanning stops at
// the next line's first letter: there is no line structure beyond what skipping and line reads give.

#include "geometry/obj_reader.h"
#include "geometry/obj_reader_corner.h"
#include "geometry/obj_reader_number.h"
#include "geometry/obj_reader_text.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace verdanium {

using namespace obj_text;

namespace {

// Reads a face whose "f" token has just been read: the first corner as a token, which decides the form,
// two more corners, then as many as convert. Calls `triangle(form, a, b, c)` for each triangle of the fan
// around the first corner: a triangle's first corner is the first of the one before, its second the third of
// the one before. Both passes read faces through here, so that they consume exactly the same text.
template <typename TriangleSink>
void readFace(TextCursor& file, TriangleSink&& triangle) {
    char token[kBufferSize] = "";
    readToken(file, token);
    FaceForm form = faceFormOf(token);
    Corner first, second, third;
    parseCorner(token, form, &first);
    readCorner(file, form, &second);
    readCorner(file, form, &third);
    triangle(form, first, second, third);
    Corner next;
    while (readCorner(file, form, &next) > 0) {
        second = third;
        third = next;
        triangle(form, first, second, third);
    }
}

// Reads a `g` line's name: the rest of the line with its last character (the newline) cut off, so that
// the blank after `g` stays part of the name.
void readGroupName(TextCursor& file, char* name) {
    readRestOfLine(file, name);
    size_t length = std::strlen(name);
    if (length > 0)
        name[length - 1] = '\0';
}

ObjGroup* findGroup(ObjModel* model, const char* name) {
    for (ObjGroup* group = model->groups; group; group = group->next) {
        if (std::strcmp(group->name, name) == 0)
            return group;
    }
    return nullptr;
}

ObjGroup* glmAddGroup(ObjModel* model, const char* name) {
    if (ObjGroup* group = findGroup(model, name))
        return group;
    ObjGroup* group = static_cast<ObjGroup*>(std::calloc(1, sizeof(ObjGroup)));
    group->name = strdup(name);
    group->next = model->groups;
    model->groups = group;
    ++model->groupCount;
    return group;
}

void glmFirstPass(ObjModel* model, TextCursor& file) {
    ObjGroup* group = glmAddGroup(model, "default");
    uint32_t vertexCount = 0, normalCount = 0, texCoordCount = 0, triangleCount = 0;
    char buffer[kBufferSize];
    char word[kBufferSize];
    while (readToken(file, buffer)) {
        switch (buffer[0]) {
        case 'v':
            switch (buffer[1]) {
            case '\0':
                ++vertexCount;
                break;
            case 'n':
                ++normalCount;
                break;
            case 't':
                ++texCoordCount;
                break;
            default:
                std::printf("glmFirstPass(): Unknown token \"%s\".\n", buffer);
                std::exit(1);
            }
            skipLine(file);
            break;
        case 'm':
            readRestOfLine(file, buffer);
            if (firstWord(buffer, word)) {
                std::free(model->materialLibrary);
                model->materialLibrary = strdup(word);
                glmReadMTL(model, word);
            }
            break;
        case 'g':
            readGroupName(file, buffer);
            group = glmAddGroup(model, buffer);
            break;
        case 'f':
            readFace(file, [&](FaceForm, const Corner&, const Corner&, const Corner&) {
                ++triangleCount;
                ++group->triangleCount;
            });
            break;
        default:
            skipLine(file);
            break;
        }
    }
    model->vertexCount = vertexCount;
    model->normalCount = normalCount;
    model->texCoordCount = texCoordCount;
    model->triangleCount = triangleCount;
    for (ObjGroup* each = model->groups; each; each = each->next) {
        each->triangles = static_cast<uint32_t*>(std::malloc(sizeof(uint32_t) * (each->triangleCount + 1)));
        each->capacity = each->triangleCount;
        each->triangleCount = 0;
    }
}

unsigned lineAtOffset(const TextCursor& file, size_t offset) {
    const char* text = file.text.data();
    return 1 + unsigned(std::count(text, text + std::min(offset, file.text.size()), '\n'));
}

// Indices are used as they stand to address the arrays, so one outside 1..count would reach memory that
// isn't the model's. Such a file is as unusable as one that can't be opened, and ends the program alike. The
// number is reported as the file wrote it.
void checkIndex(ObjModel* model, const TextCursor& file, size_t faceOffset, const char* kind,
                const char* kinds, const CornerIndex& index, uint32_t count) {
    if (index.value >= 1 && index.value <= int64_t(count))
        return;
    std::fprintf(stderr, "error: \"%s\", line %u: %s index %.*s is out of range (the file has %u %s).\n",
                 model->pathName, lineAtOffset(file, faceOffset), kind, index.length, index.text, count,
                 count == 1 ? kind : kinds);
    std::exit(1);
}

void checkCorner(ObjModel* model, const TextCursor& file, size_t faceOffset, FaceForm form,
                 const Corner& corner) {
    checkIndex(model, file, faceOffset, "vertex", "vertices", corner.vertex, model->vertexCount);
    if (form == FaceFormVertexTexCoordNormal || form == FaceFormVertexTexCoord) {
        checkIndex(model, file, faceOffset, "texture coordinate", "texture coordinates", corner.texCoord,
                   model->texCoordCount);
    }
    if (form == FaceFormVertexTexCoordNormal || form == FaceFormVertexNormal)
        checkIndex(model, file, faceOffset, "normal", "normals", corner.normal, model->normalCount);
}

// Faces ahead of the first `g` line were counted for "default" but land in the newest group, which has no
// room for them: grow it instead of writing past its end.
void appendToGroup(ObjGroup* group, uint32_t triangle) {
    if (group->triangleCount == group->capacity) {
        group->capacity = group->capacity * 2 + 4;
        group->triangles =
            static_cast<uint32_t*>(std::realloc(group->triangles, sizeof(uint32_t) * group->capacity));
    }
    group->triangles[group->triangleCount++] = triangle;
}

// Reads up to `width` floats into element `next` of `array`, if the first pass counted room for it. A
// line with fewer numbers leaves the others zero. Returns the element filled, or null.
float* readElement(TextCursor& file, float* array, uint32_t& next, uint32_t count, int width) {
    float values[3] = {0.0f, 0.0f, 0.0f};
    readFloats(file, values, width);
    if (next > count)
        return nullptr;
    float* element = &array[width * next];
    std::memcpy(element, values, sizeof(float) * width);
    ++next;
    return element;
}

// Vertices whose line gave a coordinate that is not a finite number ("nan", "inf", or one beyond the float
// range). Such a vertex is unusable: it is kept at the origin, as a line without numbers would leave it,
// so that no NaN reaches the mesh. Each is reported once, after the pass, when one scan of the file turns
// all their offsets into line numbers.
struct NonFiniteVertices {
    uint32_t count = 0;
    uint32_t capacity = 0;
    uint32_t* numbers = nullptr;
    size_t* offsets = nullptr;
};

void checkVertex(NonFiniteVertices& bad, float* vertex, uint32_t number, size_t lineOffset) {
    if (std::isfinite(vertex[0]) && std::isfinite(vertex[1]) && std::isfinite(vertex[2]))
        return;
    vertex[0] = vertex[1] = vertex[2] = 0.0f;
    if (bad.count == bad.capacity) {
        bad.capacity = bad.capacity * 2 + 8;
        bad.numbers = static_cast<uint32_t*>(std::realloc(bad.numbers, sizeof(uint32_t) * bad.capacity));
        bad.offsets = static_cast<size_t*>(std::realloc(bad.offsets, sizeof(size_t) * bad.capacity));
    }
    bad.numbers[bad.count] = number;
    bad.offsets[bad.count] = lineOffset;
    ++bad.count;
}

void reportNonFiniteVertices(ObjModel* model, const TextCursor& file, NonFiniteVertices& bad) {
    if (bad.count > 0) {
        size_t offset = 0;
        unsigned line = 1;
        for (uint32_t i = 0; i < bad.count; ++i) {
            for (; offset < bad.offsets[i] && offset < file.text.size(); ++offset)
                line += file.text[offset] == '\n';
            std::fprintf(stderr,
                         "error: \"%s\", line %u: vertex %u has a coordinate that is not a finite number; it "
                         "is read as 0 0 0.\n",
                         model->pathName, line, bad.numbers[i]);
        }
    }
    std::free(bad.numbers);
    std::free(bad.offsets);
}

void glmSecondPass(ObjModel* model, TextCursor& file) {
    uint32_t material = 0;
    ObjGroup* group = model->groups;
    uint32_t nextVertex = 1, nextNormal = 1, nextTexCoord = 1, triangleCount = 0;
    NonFiniteVertices nonFinite;
    char buffer[kBufferSize];
    char word[kBufferSize];
    while (readToken(file, buffer)) {
        switch (buffer[0]) {
        case 'v':
            if (buffer[1] == '\0') {
                const size_t lineOffset = file.position;
                const uint32_t number = nextVertex;
                if (float* vertex = readElement(file, model->vertices, nextVertex, model->vertexCount, 3))
                    checkVertex(nonFinite, vertex, number, lineOffset);
            } else if (buffer[1] == 'n')
                readElement(file, model->normals, nextNormal, model->normalCount, 3);
            else if (buffer[1] == 't')
                readElement(file, model->texCoords, nextTexCoord, model->texCoordCount, 2);
            break;
        case 'u': {
            readRestOfLine(file, buffer);
            if (!firstWord(buffer, word))
                word[0] = '\0';
            material = 0;
            bool found = false;
            for (uint32_t i = 0; i < model->materialCount && !found; ++i) {
                const char* name = model->materials[i].name; // null only if a `newmtl` went unread
                if (name && std::strcmp(name, word) == 0) {
                    material = i;
                    found = true;
                }
            }
            if (!found)
                std::printf("glmFindMaterial():  can't find material \"%s\".\n", word);
            group->material = material;
            break;
        }
        case 'g':
            readGroupName(file, buffer);
            // Both passes read group names alike, so the group exists; stay put if text changed under us.
            if (ObjGroup* named = findGroup(model, buffer))
                group = named;
            group->material = material;
            break;
        case 'f': {
            const size_t faceOffset = file.position;
            readFace(file, [&](FaceForm form, const Corner& a, const Corner& b, const Corner& c) {
                const Corner* corners[3] = {&a, &b, &c};
                for (const Corner* corner : corners)
                    checkCorner(model, file, faceOffset, form, *corner);
                // Only a file that changed between the passes could bring more faces than were counted.
                if (triangleCount == model->triangleCount)
                    return;
                ObjTriangle& triangle = model->triangles[triangleCount];
                for (int k = 0; k < 3; ++k) {
                    triangle.vertexIndices[k] = uint32_t(corners[k]->vertex.value);
                    triangle.texCoordIndices[k] = uint32_t(corners[k]->texCoord.value);
                    triangle.normalIndices[k] = uint32_t(corners[k]->normal.value);
                }
                triangle.material = material;
                appendToGroup(group, triangleCount);
                ++triangleCount;
            });
            break;
        }
        case '#':
        default:
            skipLine(file);
            break;
        }
    }
    reportNonFiniteVertices(model, file, nonFinite);
}

} // namespace

ObjModel* glmReadOBJ(const char* path) {
    TextCursor file;
    if (!readTextFile(path, file)) {
        std::fprintf(stderr, "glmReadOBJ() failed: can't open data file \"%s\".\n", path);
        std::exit(1);
    }
    ObjModel* model = static_cast<ObjModel*>(std::calloc(1, sizeof(ObjModel)));
    model->pathName = strdup(path);

    glmFirstPass(model, file);

    // One spare element each: indices are 1-based and used as they stand. calloc keeps element 0, and
    // anything a short line leaves unread, at zero.
    model->vertices = static_cast<float*>(std::calloc(3 * (size_t(model->vertexCount) + 1), sizeof(float)));
    model->triangles = static_cast<ObjTriangle*>(std::calloc(model->triangleCount + 1, sizeof(ObjTriangle)));
    if (model->normalCount)
        model->normals =
            static_cast<float*>(std::calloc(3 * (size_t(model->normalCount) + 1), sizeof(float)));
    if (model->texCoordCount) {
        model->texCoords =
            static_cast<float*>(std::calloc(2 * (size_t(model->texCoordCount) + 1), sizeof(float)));
    }

    file.position = 0;
    glmSecondPass(model, file);
    return model;
}

void glmFreeModel(ObjModel* model) {
    std::free(model->pathName);
    std::free(model->materialLibrary);
    std::free(model->vertices);
    std::free(model->normals);
    std::free(model->texCoords);
    std::free(model->facetNormals);
    std::free(model->triangles);
    for (uint32_t i = 0; i < model->materialCount; ++i)
        std::free(model->materials[i].name);
    std::free(model->materials);
    ObjGroup* group = model->groups;
    while (group) {
        ObjGroup* next = group->next;
        std::free(group->name);
        std::free(group->triangles);
        std::free(group);
        group = next;
    }
    std::free(model);
}

} // namespace verdanium
