// Writes the manual page and the shells' completions into a folder: a step of the build.

#include "AllCommands.h"
#include "Pages.h"

#include <fstream>
#include <iostream>

namespace {

bool write(const std::string& path, const std::string& text)
{
    std::ofstream file(path, std::ios::binary);
    file << text << std::flush;
    if (!file)
        std::cerr << "make-pages: can't write " << path << '\n';
    return bool { file };
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: make-pages FOLDER\n";
        return 2;
    }
    const std::string folder = std::string(argv[1]) + "/";
    const Commands commands = allCommands();
    std::vector<CommandPage> pages;
    for (const std::unique_ptr<Command>& command : commands)
        pages.push_back(command->page());
    const bool written = write(folder + "vellorin.1", manualPage(pages))
        && write(folder + "vellorin.bash", bashCompletion(pages)) && write(folder + "_vellorin", zshCompletion(pages))
        && write(folder + "vellorin.fish", fishCompletion(pages));
    return written ? 0 : 1;
}
