// lyr-fft help: texts that do not belong to one command.

#include <memory>

#include "commands.h"
#include "problem.h"

namespace lyr_tools {

command add_help(CLI::App &app) {
    CLI::App *arguments = app.add_subcommand("help", "Explain a topic: problem");
    auto topic = std::make_shared<std::string>();
    arguments->add_option("TOPIC", *topic, "What to explain: problem")->type_name("")->required();
    return {arguments, [topic] {
                if (*topic != "problem")
                    return fail("no help on %s; topics: problem", in_quotes(*topic).c_str());
                print("%s", problem_notation());
                return 0;
            }};
}

}  // namespace lyr_tools
