// What a window manager or a player would do to a window, through the X server directly.
#pragma once

#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <cstdint>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

// Asks the window to close, as a window manager's close button does.
inline void sendDeleteWindow(unsigned long window) {
  Display* display = XOpenDisplay(nullptr);
  if (!display) return;
  XEvent event{};
  event.xclient.type = ClientMessage;
  event.xclient.window = window;
  event.xclient.message_type = XInternAtom(display, "WM_PROTOCOLS", False);
  event.xclient.format = 32;
  event.xclient.data.l[0] = long(XInternAtom(display, "WM_DELETE_WINDOW", False));
  event.xclient.data.l[1] = CurrentTime;
  XSendEvent(display, window, False, NoEventMask, &event);
  XCloseDisplay(display);
}

// The window's pixel at x, y as 0xRRGGBB, or -1 if it can't be read.
inline int64_t windowPixel(unsigned long window, int x, int y) {
  Display* display = XOpenDisplay(nullptr);
  if (!display) return -1;
  XImage* image = XGetImage(display, window, x, y, 1, 1, AllPlanes, ZPixmap);
  int64_t pixel = image ? int64_t(XGetPixel(image, 0, 0) & 0xffffff) : -1;
  if (image) XDestroyImage(image);
  XCloseDisplay(display);
  return pixel;
}

// The window's pixels, rows top-down, 3 bytes a pixel (R, G, B); empty if it can't be read.
inline std::vector<unsigned char> windowImage(unsigned long window, int width, int height) {
  std::vector<unsigned char> rgb;
  Display* display = XOpenDisplay(nullptr);
  if (!display) return rgb;
  // A window not yet shown, or of another size, can't be read: no image, rather than the end of
  // the test program.
  XErrorHandler previous = XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
  XImage* image = XGetImage(display, window, 0, 0, unsigned(width), unsigned(height), AllPlanes, ZPixmap);
  if (image) {
    rgb.resize(size_t(width) * size_t(height) * 3);
    for (int y = 0; y < height; ++y) {
      for (int x = 0; x < width; ++x) {
        unsigned long pixel = XGetPixel(image, x, y);
        unsigned char* out = &rgb[(size_t(y) * size_t(width) + size_t(x)) * 3];
        out[0] = (unsigned char)(pixel >> 16);
        out[1] = (unsigned char)(pixel >> 8);
        out[2] = (unsigned char)pixel;
      }
    }
    XDestroyImage(image);
  }
  XSync(display, False);
  XSetErrorHandler(previous);
  XCloseDisplay(display);
  return rgb;
}

// Runs xdotool with `args`; true if it succeeded.
inline bool xdotool(std::string const& args) {
  return std::system(("xdotool " + args + " >/dev/null 2>&1").c_str()) == 0;
}

// The top-level window with this title, or 0 once `seconds` have passed without one.
inline unsigned long waitForWindow(std::string const& title, int seconds) {
  Display* display = XOpenDisplay(nullptr);
  if (!display) return 0;
  unsigned long found = 0;
  for (int i = 0; i < seconds * 20 && !found; ++i) {
    Window root, parent, *children = nullptr;
    unsigned count = 0;
    if (XQueryTree(display, DefaultRootWindow(display), &root, &parent, &children, &count)) {
      for (unsigned c = 0; c < count && !found; ++c) {
        char* name = nullptr;
        if (XFetchName(display, children[c], &name) && name) {
          if (title == name) found = children[c];
          XFree(name);
        }
      }
      if (children) XFree(children);
    }
    if (!found) usleep(50000);
  }
  XCloseDisplay(display);
  return found;
}

// The window's size, or 0 by 0 if it has gone.
inline std::pair<int, int> windowSize(unsigned long window) {
  Display* display = XOpenDisplay(nullptr);
  if (!display) return {0, 0};
  XWindowAttributes attributes{};
  std::pair<int, int> size{0, 0};
  if (XGetWindowAttributes(display, window, &attributes)) size = {attributes.width, attributes.height};
  XCloseDisplay(display);
  return size;
}
