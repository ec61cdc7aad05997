#include "NSAutoreleasePool.h"

#include "NSLog.h"

#include <exception>
#include <stdexcept>
#include <utility>

namespace {

NSAutoreleasePool* gInnermostPool = nullptr;

} // namespace

NSAutoreleasePool::NSAutoreleasePool()
    : outer_(std::exchange(gInnermostPool, this))
{
}

NSAutoreleasePool::~NSAutoreleasePool()
{
    try {
        drain();
    } catch (const std::exception& exception) {
        NSLog(exception.what());
    } catch (...) {
        NSLog("an object of an autorelease scope failed as it ended");
    }
    gInnermostPool = outer_;
}

void NSAutoreleasePool::autorelease(std::shared_ptr<NSAutoreleased> object)
{
    if (gInnermostPool == nullptr)
        throw std::logic_error("there is no autorelease scope");
    gInnermostPool->objects_.push_back(std::move(object));
}

void NSAutoreleasePool::drain()
{
    std::exception_ptr firstFailure;
    const auto end = [&](NSAutoreleased& object) {
        try {
            object.dealloc();
        } catch (...) {
            if (!firstFailure)
                firstFailure = std::current_exception();
        }
    };
    while (!objects_.empty()) {
        for (const auto& object : std::exchange(objects_, {}))
            end(*object);
    }
    if (firstFailure)
        std::rethrow_exception(firstFailure);
}
