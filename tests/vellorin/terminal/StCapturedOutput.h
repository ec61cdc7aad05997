#pragma once

#include <cstdio>
#include <memory>
#include <string>

/// While in scope, what the process writes to a standard descriptor goes elsewhere.
class StRedirected {
public:
    /// Takes `target` over.
    StRedirected(int descriptor, int target);
    ~StRedirected();
    StRedirected(const StRedirected&) = delete;
    StRedirected& operator=(const StRedirected&) = delete;

private:
    const int descriptor;
    const int before;
};

/// While in scope, standard output and standard error go to files.
class StCapturedOutput {
public:
    StCapturedOutput();

    std::string out() const { return contentOf(outFile.get()); }
    std::string error() const { return contentOf(errorFile.get()); }

private:
    using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

    static std::string contentOf(std::FILE* file);

    const File outFile;
    const File errorFile;
    const StRedirected outRedirected;
    const StRedirected errorRedirected;
};
