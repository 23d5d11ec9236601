#include "foundation/message_box.h"

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/keysym.h>

#include <algorithm>
#include <cstring>

namespace verdanium {

namespace {

// Layout in pixels. The box is drawn with the server's default font and no
// toolkit, and walks the text in place: it may be shown because the heap is
// exhausted, so it makes no allocations of its own (Xlib's are plain malloc).
constexpr int kMargin = 16;
constexpr int kButtonWidth = 80;
constexpr int kButtonHeight = 26;
constexpr int kMinimumWidth = 240;

struct Line {
    const char* start;
    int length;
};

// Returns the line starting at text and advances text past its line feed.
Line nextLine(const char*& text) {
    const char* end = std::strchr(text, '\n');
    int length = end != nullptr ? static_cast<int>(end - text) : static_cast<int>(std::strlen(text));
    Line line{text, length};
    text += length + (end != nullptr ? 1 : 0);
    return line;
}

struct BoxLayout {
    int width;
    int height;
    int lineHeight;
    int ascent;
    int lineCount;
    int buttonX;
    int buttonY;
};

BoxLayout layOut(const char* text, XFontStruct* font) {
    BoxLayout layout{};
    layout.ascent = font->ascent;
    layout.lineHeight = font->ascent + font->descent + 2;
    int textWidth = 0;
    const char* cursor = text;
    do {
        Line line = nextLine(cursor);
        textWidth = std::max(textWidth, XTextWidth(font, line.start, line.length));
        ++layout.lineCount;
    } while (*cursor != '\0');
    layout.width = std::max(kMinimumWidth, textWidth + 2 * kMargin);
    layout.buttonX = (layout.width - kButtonWidth) / 2;
    layout.buttonY = kMargin + layout.lineCount * layout.lineHeight + kMargin;
    layout.height = layout.buttonY + kButtonHeight + kMargin;
    return layout;
}

void draw(Display* display, ::Window window, GC gc, XFontStruct* font, const BoxLayout& layout,
          const char* text) {
    XClearWindow(display, window);
    const char* cursor = text;
    for (int i = 0; i < layout.lineCount; ++i) {
        Line line = nextLine(cursor);
        XDrawString(display, window, gc, kMargin, kMargin + layout.ascent + i * layout.lineHeight, line.start,
                    line.length);
    }
    XDrawRectangle(display, window, gc, layout.buttonX, layout.buttonY, kButtonWidth, kButtonHeight);
    const char* label = "OK";
    int labelWidth = XTextWidth(font, label, 2);
    XDrawString(display, window, gc, layout.buttonX + (kButtonWidth - labelWidth) / 2,
                layout.buttonY + (kButtonHeight + font->ascent - font->descent) / 2, label, 2);
    XFlush(display);
}

bool insideButton(const BoxLayout& layout, int x, int y) {
    return x >= layout.buttonX && x <= layout.buttonX + kButtonWidth && y >= layout.buttonY &&
           y <= layout.buttonY + kButtonHeight;
}

// Runs the box until it is dismissed. A loaded font is set on the GC; the
// server's default font (the fallback) is already the GC's own.
void runBox(Display* display, XFontStruct* font, bool fontIsLoaded, const char* text, const char* caption) {
    int screen = DefaultScreen(display);
    BoxLayout layout = layOut(text, font);
    int x = std::max(0, (DisplayWidth(display, screen) - layout.width) / 2);
    int y = std::max(0, (DisplayHeight(display, screen) - layout.height) / 2);
    ::Window window =
        XCreateSimpleWindow(display, RootWindow(display, screen), x, y, layout.width, layout.height, 1,
                            BlackPixel(display, screen), WhitePixel(display, screen));
    XStoreName(display, window, caption);
    Atom deleteWindow = XInternAtom(display, "WM_DELETE_WINDOW", False);
    XSetWMProtocols(display, window, &deleteWindow, 1);
    // A fixed-size dialog: ask the window manager not to resize it.
    XSizeHints hints{};
    hints.flags = PPosition | PMinSize | PMaxSize;
    hints.x = x;
    hints.y = y;
    hints.min_width = hints.max_width = layout.width;
    hints.min_height = hints.max_height = layout.height;
    XSetWMNormalHints(display, window, &hints);
    Atom windowType = XInternAtom(display, "_NET_WM_WINDOW_TYPE", False);
    Atom dialogType = XInternAtom(display, "_NET_WM_WINDOW_TYPE_DIALOG", False);
    XChangeProperty(display, window, windowType, XA_ATOM, 32, PropModeReplace,
                    reinterpret_cast<unsigned char*>(&dialogType), 1);
    XSelectInput(display, window, ExposureMask | ButtonPressMask | ButtonReleaseMask | KeyPressMask);

    GC gc = XCreateGC(display, window, 0, nullptr);
    if (fontIsLoaded)
        XSetFont(display, gc, font->fid);
    XSetForeground(display, gc, BlackPixel(display, screen));
    XMapRaised(display, window);

    for (bool dismissed = false; !dismissed;) {
        XEvent event;
        XNextEvent(display, &event);
        switch (event.type) {
        case Expose:
            if (event.xexpose.count == 0)
                draw(display, window, gc, font, layout, text);
            break;
        case ButtonRelease:
            dismissed =
                event.xbutton.button == Button1 && insideButton(layout, event.xbutton.x, event.xbutton.y);
            break;
        case KeyPress: {
            KeySym key = XLookupKeysym(&event.xkey, 0);
            dismissed = key == XK_Return || key == XK_KP_Enter || key == XK_Escape || key == XK_space;
            break;
        }
        case ClientMessage:
            dismissed = static_cast<Atom>(event.xclient.data.l[0]) == deleteWindow;
            break;
        default:
            break;
        }
    }
    XFreeGC(display, gc);
    XDestroyWindow(display, window);
    XSync(display, False);
}

} // namespace

void showMessageBox(const char* text, const char* caption) {
    Display* display = XOpenDisplay(nullptr);
    if (display == nullptr)
        return;
    if (XFontStruct* font = XLoadQueryFont(display, "fixed")) {
        runBox(display, font, true, text, caption);
        XFreeFont(display, font);
    } else if (XFontStruct* serverDefault =
                   XQueryFont(display, XGContextFromGC(DefaultGC(display, DefaultScreen(display))))) {
        runBox(display, serverDefault, false, text, caption);
        XFreeFontInfo(nullptr, serverDefault, 1);
    }
    XCloseDisplay(display);
}

} // namespace verdanium
