#pragma once

#include <memory>
#include <vector>

/// An object whose end does real work, which may fail.
class NSAutoreleased {
public:
    virtual ~NSAutoreleased() = default;

    /// The object's last work, called once, before it is destroyed. May raise.
    virtual void dealloc() = 0;
};

/// A scope to which objects are left whose makers don't keep them. They end with it, in the order in which they came.
///
/// Scopes nest; the innermost one takes. One thread.
class NSAutoreleasePool {
public:
    NSAutoreleasePool();

    /// Drains, and logs what drain would raise.
    ~NSAutoreleasePool();
    NSAutoreleasePool(const NSAutoreleasePool&) = delete;
    NSAutoreleasePool& operator=(const NSAutoreleasePool&) = delete;

    /// Leaves an object to the innermost scope. Raises: std::logic_error if there is none.
    static void autorelease(std::shared_ptr<NSAutoreleased> object);

    /// Ends every object, also when one of them raises, and then those that they have left to the scope meanwhile.
    /// Raises: the first failure, when all have ended.
    void drain();

private:
    NSAutoreleasePool* outer_;
    std::vector<std::shared_ptr<NSAutoreleased>> objects_;
};
