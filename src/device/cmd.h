/* cmd.h - one external command line, as a drive's fw_update operation builds it. */
#pragma once

#include <memory>
#include <string>
#include <vector>

struct Cmd {
    Cmd *next; /* always null: one command a drive */
    int argc;
    std::vector<std::string> words; /* the argc words; owned */
    std::vector<char *> argv;       /* argc pointers into words, then null: what execvp wants */

    Cmd() : next(nullptr), argc(0) {}
    Cmd(const Cmd &) = delete; /* argv points into this very record */
    Cmd &operator=(const Cmd &) = delete;
};

/* A command of these words, the program to run (searched in PATH) first. */
std::unique_ptr<Cmd> build_Cmd(std::vector<std::string> words);
