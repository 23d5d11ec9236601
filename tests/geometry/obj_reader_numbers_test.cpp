// The numbers of vertex lines, against a reading written plainly on the C standard input functions: tokens
// by fscanf "%s", the first pass counting and skipping lines by getc, the second reading "%f %f %f" (or
// "%f %f" for texture coordinates) into zeroed values. Every float must come out with the same bits.

#include "geometry/obj_reader.h"

#include "support/test_files.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace verdanium {
namespace {

struct VertexArrays {
    std::vector<float> arrays[3]; // vertices, normals, texture coordinates, from element 1 on
    bool onlyVertexLines = true;  // false when a token would start a face, group, library or material
};

const int kWidths[3] = {3, 3, 2};

int kindOf(const char* token) {
    return token[0] != 'v' ? -1 : token[1] == '\0' ? 0 : token[1] == 'n' ? 1 : token[1] == 't' ? 2 : -1;
}

VertexArrays readPlainly(const std::string& path) {
    VertexArrays result;
    FILE* file = std::fopen(path.c_str(), "r");
    char token[128];
    uint32_t counts[3] = {0, 0, 0};
    while (std::fscanf(file, "%127s", token) == 1) {
        if (kindOf(token) >= 0)
            ++counts[kindOf(token)];
        else if (std::strchr("fgmuv", token[0]) && token[0] != '\0')
            result.onlyVertexLines = false;
        for (int c = 0; c != '\n' && c != EOF;)
            c = std::getc(file);
    }
    for (int k = 0; k < 3; ++k)
        result.arrays[k].assign(kWidths[k] * counts[k], 0.0f);
    std::rewind(file);
    uint32_t next[3] = {1, 1, 1};
    while (std::fscanf(file, "%127s", token) == 1) {
        const int k = kindOf(token);
        if (k < 0) {
            for (int c = 0; c != '\n' && c != EOF;)
                c = std::getc(file);
            continue;
        }
        float v[3] = {0.0f, 0.0f, 0.0f};
        std::fscanf(file, kWidths[k] == 3 ? "%f %f %f" : "%f %f", &v[0], &v[1], &v[2]);
        if (k == 0 && !(std::isfinite(v[0]) && std::isfinite(v[1]) && std::isfinite(v[2])))
            v[0] = v[1] = v[2] = 0.0f; // a vertex that is not finite is kept at the origin
        if (next[k] <= counts[k])
            std::memcpy(&result.arrays[k][kWidths[k] * (next[k]++ - 1)], v, sizeof(float) * kWidths[k]);
    }
    std::fclose(file);
    return result;
}

class ObjReaderNumbersTest : public TestFilesFixture {};

TEST_F(ObjReaderNumbersTest, EveryNumberIsReadAsScanfReadsIt) {
    // The pieces between blanks: forms plain and odd, values at the float limits, rounding ties, debris.
    std::istringstream words(
        "1 -2.5 +.5 5. -0 1e5 1E-5 2e+3 1e 1e+ 1ex 1.5x 0x1.8p3 0X1P-2 0x 0xg 0x1p inf "
        "-INFINITY infix nan -nan(12) nan( nax 1e-40 1e-46 1.401298464324817e-45 "
        "7.006492321624085e-46 3.4028235e38 3.40282357e38 1e999 -1e-999 "
        "1.000000059604644775390625 1.00000005960464477539062500001 1,5 1..2 --1 - . x #");
    std::vector<std::string> pieces{std::istream_iterator<std::string>(words), {}};
    pieces.insert(pieces.end(),
                  {"0." + std::string(200, '0') + "1e201", std::string(150, '7'), std::string(1, '\0')});
    const char* const lineStarts[] = {"v", "vn", "vt", "v", "# v 1", "s"};
    const char* const blanks[] = {" ", "  ", "\t", "", "\v", "\f"};
    const char* const lineEnds[] = {"\n", "\r\n", "\n\n", " \n"};
    std::mt19937 random(15);
    int compared = 0;
    for (int text = 0; text < 600; ++text) {
        std::string obj;
        for (int line = int(random() % 6); line >= 0; --line) {
            obj += lineStarts[random() % 6];
            for (int piece = int(random() % 5); piece > 0; --piece) {
                obj += blanks[random() % 6];
                if (random() % 3 == 0) { // a float of any bits, in the forms a writer might give
                    char number[64];
                    const uint32_t bits = random();
                    float value;
                    std::memcpy(&value, &bits, sizeof value);
                    std::snprintf(number, sizeof number, random() % 2 ? "%.9g" : "%.6e", double(value));
                    obj += number;
                } else {
                    obj += pieces[random() % pieces.size()];
                }
            }
            obj += line > 0 || random() % 2 ? lineEnds[random() % 4] : ""; // the last line may end unended
        }
        SCOPED_TRACE(::testing::PrintToString(obj));
        const std::string path = write("numbers.obj", obj);
        const VertexArrays expected = readPlainly(path);
        if (!expected.onlyVertexLines)
            continue;
        ::testing::internal::CaptureStderr(); // vertices that are not finite are reported there
        ObjModel* model = glmReadOBJ(path.c_str());
        ::testing::internal::GetCapturedStderr();
        const float* arrays[3] = {model->vertices, model->normals, model->texCoords};
        for (int k = 0; k < 3; ++k) {
            const std::vector<float>& want = expected.arrays[k];
            const float* first = arrays[k] ? arrays[k] + kWidths[k] : nullptr;
            const std::vector<float> got(first, first ? first + want.size() : first);
            const bool sameBits =
                got.size() == want.size() &&
                (want.empty() || std::memcmp(got.data(), want.data(), 4 * want.size()) == 0);
            ASSERT_TRUE(sameBits) << "array " << k << " got " << ::testing::PrintToString(got) << " want "
                                  << ::testing::PrintToString(want);
        }
        glmFreeModel(model);
        ++compared;
    }
    EXPECT_GT(compared, 400);
}

} // namespace
} // namespace verdanium
