// verdanium-datagen: writes the program's generated data tree (the rocks, the
// ship and the background) below the folder given as its one argument. The
// output depends on nothing but this program, byte for byte.

#include "asteroids.h"
#include "background.h"
#include "command_line.h"
#include "output_files.h"
#include "ship.h"
#include "text_format.h"

#include <exception>
#include <iostream>
#include <optional>
#include <string>

int main(int argc, char** argv) {
    using namespace verdanium::datagen;
    CLI::App app("Writes the program's generated data tree (rocks, ship, background) below DATA_FOLDER.",
                 "verdanium-datagen");
    verdanium::prepareToolApp(app);
    std::string folder;
    app.add_option("DATA_FOLDER", folder, "the data folder to write into")->required();
    if (const std::optional<int> status = verdanium::parseCommandLine(app, argc, argv)) {
        return *status;
    }
    try {
        OutputTree out(folder);
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
        std::cout << "wrote " << out.written().size() << " files, " << total << " bytes, to " << folder
                  << '\n';
    } catch (const std::exception& e) {
        std::cerr << "error: " << e.what() << '\n';
        return 1;
    }
    return 0;
}
