#pragma once

/// Seconds, with fractions.
using CFAbsoluteTime = double;

/// A clock that deadlines are measured by.
class CFClock {
public:
    virtual ~CFClock() = default;

    /// Never goes back: a deadline must not move when somebody sets the machine's clock.
    virtual CFAbsoluteTime CFAbsoluteTimeGetCurrent() const = 0;
};

/// The kernel's monotonic clock.
class LinuxClock final : public CFClock {
public:
    CFAbsoluteTime CFAbsoluteTimeGetCurrent() const override;
};
