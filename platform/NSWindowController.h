#pragma once

#include <cstdint>

/// A window on the screen.
class NSWindow {
public:
    virtual ~NSWindow() = default;

    virtual void center() = 0;
};

/// Whoever looks after a window.
class NSWindowController {
public:
    virtual ~NSWindowController() = default;

    virtual NSWindow& window() = 0;
};

/// A window that has the user's attention until it is answered. Belongs to its application, from begin to end.
class NSModalSession {
protected:
    ~NSModalSession() = default;
};

/// What a modal session answers as long as it goes on; any other code ends it.
inline constexpr int64_t NSRunContinuesResponse = -1002;

/// The running program, as the holder of the event loop.
class NSApplication {
public:
    virtual ~NSApplication() = default;

    /// Comes before the other programs' windows, if the desktop lets it.
    virtual void activate() = 0;

    virtual NSModalSession& beginModalSessionForWindow(NSWindow& window) = 0;

    /// Handles what has come in, without waiting for more; answers NSRunContinuesResponse, or the code that it was
    /// stopped with.
    virtual int64_t runModalSession(NSModalSession& session) = 0;

    /// The session's next answer is `code`.
    virtual void stopModalWithCode(int64_t code) = 0;

    virtual void endModalSession(NSModalSession& session) = 0;
};
