#include "device/cmd.h"

#include <utility>

std::unique_ptr<Cmd> build_Cmd(std::vector<std::string> words)
{
    auto cmd = std::make_unique<Cmd>();
    cmd->words = std::move(words);
    for (std::string &word : cmd->words)
        cmd->argv.push_back(word.data());
    cmd->argv.push_back(nullptr);
    cmd->argc = static_cast<int>(cmd->words.size());
    return cmd;
}
