#pragma once

#include <string>

#include <sys/types.h>

/// tests/programs/ForeignReceiver.cpp at work on the bus in use; killed at the end of the scope.
class ForeignReceiverProcess {
public:
    explicit ForeignReceiverProcess(const std::string& mode);
    ~ForeignReceiverProcess();
    ForeignReceiverProcess(const ForeignReceiverProcess&) = delete;
    ForeignReceiverProcess& operator=(const ForeignReceiverProcess&) = delete;

    /// The next line that it prints; what there is of it if none comes within some seconds.
    std::string line();

    /// Ends it; what it has printed since.
    std::string restOfOutput();

private:
    void end();

    pid_t pid_ = -1;
    int output_ = -1;
};
