#pragma once

#include <map>
#include <memory>
#include <string>

namespace verdanium {

class Geometry;
class GlslProgram;
class Image;

// A program-wide table that loads each resource once per name. The name is the
// key exactly as given (no path normalisation), so two spellings of one file are
// two entries. Entries are strong references and are never evicted: a resource
// outlives its last user, so rebuilding the scene finds it again without I/O.
//
// The constructor Resource(name) does the whole of the loading. Only after it
// returns is the entry made, so a constructor that throws stores nothing and
// the next load of that name tries again. A constructor that reports a bad
// file and returns normally is cached like a good one.
//
// No lock: loading happens on the main thread only.
template <typename Resource>
class ResourceCache {
public:
    std::shared_ptr<Resource> load(std::string name) {
        auto found = entries.lower_bound(name);
        if (found != entries.end() && !(name < found->first))
            return found->second;
        std::shared_ptr<Resource> resource(new Resource(name));
        entries.emplace_hint(found, std::move(name), nullptr)->second = resource;
        return resource;
    }

    bool contains(const std::string& name) const { return entries.find(name) != entries.end(); }

    // Drops the table's references; resources still held elsewhere live on.
    void clear() { entries.clear(); }

private:
    // std::string orders byte by byte, a prefix before its extensions.
    std::map<std::string, std::shared_ptr<Resource>> entries;
};

// The three tables, built before main in this order and destroyed in reverse,
// so the Geometry table goes last, after the GL context is gone.
extern ResourceCache<Geometry> gGeometryCache;
extern ResourceCache<GlslProgram> gGlslProgramCache;
extern ResourceCache<Image> gImageCache;

} // namespace verdanium
