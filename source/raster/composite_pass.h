#pragma once

namespace verdanium {

class RecursivePathTracer;

// The full-screen pass of the hybrid mode that joins the rasterised colour
// (diffuseTexture, unit 0) with the raw path-trace sums (pathTraceTexture,
// unit 1) through compositeProgram over the renderer's quad.

// Looks up the two samplers and two attributes, makes quadVertexArray over the
// quad's position and texture coordinate buffers, and points the samplers at
// units 0 and 1. Once, at the renderer's construction; GL context current.
void prepareCompositeState(RecursivePathTracer& renderer);

// Draws the quad with the two textures bound, depth test and lighting off,
// and leaves program, vertex array and the textures of both units at 0 with
// unit 0 active. Pushes and pops every attribute group.
void drawComposite(const RecursivePathTracer& renderer);

} // namespace verdanium
