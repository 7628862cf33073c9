#include "workflows/question.h"

#include <cstdio>
#include <cstring>

constexpr size_t answer_size = 32;

/* Throws away what is left of a line that was longer than the room for it. */
static void drop_rest_of_line(const char *answer)
{
    if (strchr(answer, '\n')) return;
    int c;
    do
        c = getchar();
    while (c != '\n' && c != EOF);
}

int yorn(const char *question)
{
    printf("%s? ", question);
    fflush(stdout);
    for (;;) {
        printf("Please enter \"Yes\" or \"No\": ");
        fflush(stdout);
        char answer[answer_size];
        if (!fgets(answer, sizeof answer, stdin)) return 0;
        drop_rest_of_line(answer);
        if (strncmp(answer, "Yes", 3) == 0) return 1;
        if (strncmp(answer, "No", 2) == 0) return 0;
    }
}
