// verdanium-datagen: writes the program's generated data tree (the rocks, the
// ship and the background) below the folder given as its one argument. The
// output depends on nothing but this program, byte for byte.

#include "asteroids.h"
#include "background.h"
#include "output_files.h"
#include "ship.h"
#include "text_format.h"

#include <exception>
#include <iostream>

int main(int argc, char** argv) {
    using namespace verdanium::datagen;
    if (argc != 2) {
        std::cerr << "usage: verdanium-datagen DATA_FOLDER\n";
        return 2;
    }
    try {
        OutputTree out(argv[1]);
        std::vector<ModelReport> models = generateAsteroids(out);
        std::vector<ModelReport> ship = generateShip(out);
        models.insert(models.end(), ship.begin(), ship.end());
        generateBackground(out);
        for (const ModelReport& m : models) {
            std::cout << m.path << ": " << m.triangles << " triangles, radius " << formatFixed(m.radius, 2)
                      << '\n';
        }
        std::uint64_t total = 0;
        for (const OutputTree::Entry& e : out.written()) {
            total += e.size;
        }
        std::cout << "wrote " << out.written().size() << " files, " << total << " bytes, to " << argv[1]
                  << '\n';
    } catch (const std::exception& e) {
        std::cerr << "error: " << e.what() << '\n';
        return 1;
    }
    return 0;
}
