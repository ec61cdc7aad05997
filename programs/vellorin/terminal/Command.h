#pragma once

#include "CommandPage.h"

#include <memory>
#include <vector>

class Console;

/// One command of the program: its page, and what it does.
///
/// The page names the command's options and operands together with the members that they fill; the parser, `--help`,
/// the manual pages and the shells' completions are all made of it. `run` is called once, with the members filled.
class Command {
public:
    virtual ~Command() = default;

    virtual CommandPage page() = 0;

    /// The exit status (ExitStatus.h). Raises: CommandFailure, and whatever it doesn't know how to handle. Throws
    /// Interrupted.
    virtual int run(Console& console) = 0;
};

using Commands = std::vector<std::unique_ptr<Command>>;
