// lyr-fft help: texts that do not belong to one command.

#include <memory>

#include "commands.h"
#include "problem.h"

namespace lyr_tools {

command add_help(CLI::App &app) {
    CLI::App *arguments =
        app.add_subcommand("help", "Explain a command, or how problems are written");
    auto topic = std::make_shared<std::string>();
    arguments->add_option("TOPIC", *topic, "A command, or 'problem'")->type_name("");
    return {arguments, [topic, &app] {
                if (*topic == "problem") {
                    print("%s", problem_notation());
                    return 0;
                }
                const CLI::App *explained = topic->empty() ? &app : nullptr;
                for (const CLI::App *c : app.get_subcommands([](CLI::App *) { return true; }))
                    if (c->get_name() == *topic) explained = c;
                if (explained == nullptr)
                    return fail("no help on %s; see 'lyr-fft help'", in_quotes(*topic).c_str());
                // The parsed command would be asked for its help otherwise.
                print("%s",
                      explained->get_formatter()
                          ->make_help(explained, topic->empty() ? "lyr-fft" : "lyr-fft " + *topic,
                                      CLI::AppFormatMode::Normal)
                          .c_str());
                return 0;
            }};
}

}  // namespace lyr_tools
