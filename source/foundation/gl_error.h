#pragma once

#include <cstdint>
#include <ostream>
#include <string>

namespace verdanium {

// Writes "GL error: " and GLU's text for errorCode, then, for a non-empty
// location, "(printErrorReport called from: <location>)", each on its own
// flushed line.
void printErrorReport(std::ostream& stream, const std::string& location, std::uint32_t errorCode);

// Polls glGetError once (one error per check; the queue is deliberately not
// drained) and reports a non-zero result on standard error with the location.
void checkGlError(const std::string& location);

// The places where the GL error state is polled, named by the source file and
// line as the original build saw them; the texts are part of the output.
namespace gl_check_site {
inline constexpr const char* kBackgroundSetUp = "..\\source\\Background(62)";
inline constexpr const char* kWindowBootstrapContext = "..\\source\\window(481)";
inline constexpr const char* kWindowBeforeGlew = "..\\source\\window(489)";
inline constexpr const char* kWindowAfterGlew = "..\\source\\window(494)";
inline constexpr const char* kWindowFinalContext = "..\\source\\window(582)";
inline constexpr const char* kRendererFrame51 = "..\\source\\RecursivePathTracer(51)";
inline constexpr const char* kRendererFrame105 = "..\\source\\RecursivePathTracer(105)";
inline constexpr const char* kRendererFrame309 = "..\\source\\RecursivePathTracer(309)";
} // namespace gl_check_site

} // namespace verdanium
