#include "workflows/question.h"

#include <cstdio>
#include <string>

constexpr size_t max_answer_len = 31;

/* Reads one line and keeps what fits of it; the rest is part of this answer, not the next one. Returns 0 at
 * the end of input. */
static int read_answer(std::string *answer)
{
    answer->clear();
    int c;
    while ((c = getchar()) != EOF && c != '\n')
        if (answer->size() < max_answer_len) answer->push_back(static_cast<char>(c));
    return c != EOF || !answer->empty();
}

int yorn(const char *question)
{
    printf("%s? ", question);
    fflush(stdout);
    for (std::string answer;;) {
        printf("Please enter \"Yes\" or \"No\": ");
        fflush(stdout);
        if (!read_answer(&answer)) return 0;
        if (answer.starts_with("Yes")) return 1;
        if (answer.starts_with("No")) return 0;
    }
}
