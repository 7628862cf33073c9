#include "ui/dialogs.h"

#include "ui/keys.h"
#include "ui/screen.h"
#include "ui/status.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <strings.h>

namespace
{
struct warning_line {
    int row;
    bool alarming; /* reverse video in red */
    const char *text;
};
} // namespace

static const warning_line warning_lines[] = {
    {3,  true,  "WARNING!"                                                  },
    {4,  true,  "THIS TOOL WILL MODIFY YOUR HARD DISK DRIVES!"              },
    {5,  false, "Therefore it is of vital importance that you have"         },
    {6,  false, "created BACKUP COPIES of all of your important data"       },
    {7,  false, "on these disks!"                                           },
    {8,  false, "If you have taken all required steps to ensure"            },
    {9,  false, "that your data is safe, please enter exactly the string"   },
    {10, false, "\"Yes, I understand the risks!\""                          },
    {11, false, "(without the quotes and teminated by RETURN)."             },
    {12, false, "Enter the string \"exit\" to skip updating drive firmware."},
};
constexpr int message_row = 14;
constexpr int input_row = 15;
constexpr size_t max_phrase_len = 79;
constexpr char risk_phrase[] = "Yes, I understand the risks!";
constexpr char short_code[] = "7q2z";

constexpr char banner_line[] = "**************************************************************";
constexpr char banner_text[] = "*** A power cycle may be required to activate the firmware ***";
constexpr char power_off_prompt[] = "Do you want to power off your machine? Please enter \"Yes\" or \"No\": ";
constexpr size_t max_answer_len = 4;

constexpr size_t max_line_answer_len = 31;

static void draw_warning()
{
    ROWS = screen_height();
    clear();
    for (const warning_line &line : warning_lines) {
        center(line.row, line.text);
        if (line.alarming) mvchgat(line.row, 0, -1, A_REVERSE, pair_red, nullptr);
    }
}

static void draw_message(const char *message)
{
    draw_row(message_row, 0, message);
}

/* Has one line typed, drawing the dialog anew whenever the screen changes size. Returns false when no answer
 * will come. */
static bool read_phrase(std::string *phrase)
{
    typed_line line = {.row = input_row, .column = 0, .max_len = max_phrase_len, .text = ""};
    for (;;) {
        const line_state state = type_line(&line);
        if (state == line_ended) return false;
        if (state == line_done) break;
        draw_warning();
    }
    *phrase = line.text;
    return true;
}

/* On a screen too low for the input row. Who can't see what is typed can back out, but accepts nothing. */
static bool is_typed_unseen()
{
    return screen_height() <= input_row;
}

/* Asks until the phrase or "exit" is typed. Returns true for the phrase. */
static bool ask_for_phrase()
{
    std::string phrase;
    for (;;) {
        draw_message("");
        if (!read_phrase(&phrase)) return false;
        if ((phrase == short_code || phrase == risk_phrase) && !is_typed_unseen()) return true;
        if (strcasecmp(phrase.c_str(), "exit") == 0) return false;
        /* Gone with the next pass, before anything is shown. */
        draw_message("Please enter the correct string:");
    }
}

int show_warning_and_request_confirmation(int yes)
{
    if (yes) return 1;
    const curses_session session;
    /* A risk that could not be shown was not accepted. */
    if (!session.is_open()) return 0;
    if (start_colors()) use_colors = 1;
    draw_warning();
    const bool is_accepted = ask_for_phrase();
    clear();
    refresh();
    return is_accepted ? 1 : 0;
}

/* Draws one line of the summary: its name, and its bracketed mark flush with the right edge. */
static void show_one_status(gpointer data, gpointer user_data)
{
    const auto *line = static_cast<const status *>(data);
    const int row = (*static_cast<int *>(user_data))++;
    const int width = screen_width();
    const int column = width - static_cast<int>(strlen(line->status)) - 2;

    chtype color = A_NORMAL;
    if (strcmp(line->status, status_ok) == 0) color = COLOR_PAIR(pair_green);
    if (strcmp(line->status, status_fail) == 0) color = COLOR_PAIR(pair_red);

    draw_text(row, 0, line->name);
    draw_text(row, column, "[");
    attron(color);
    draw_text(row, column + 1, line->status);
    attroff(color);
    draw_text(row, width - 1, "]");
}

static void draw_summary(GList *status_list)
{
    const int height = screen_height();
    clear();
    draw_title("Summary Page");
    int row = 1;
    g_list_foreach(status_list, show_one_status, &row);
    draw_text(height - 4, 0, banner_line);
    draw_text(height - 3, 0, banner_text);
    draw_text(height - 2, 0, banner_line);
    draw_row(height - 1, 0, power_off_prompt);
}

/* Asks until the answer is exactly "Yes" or "No". Returns true for "Yes". */
static bool ask_for_power_off(GList *status_list)
{
    constexpr int prompt_len = sizeof power_off_prompt - 1;
    typed_line line = {.row = 0, .column = prompt_len, .max_len = max_answer_len, .text = ""};
    for (;;) {
        draw_summary(status_list);
        line.row = screen_height() - 1;
        const line_state state = type_line(&line);
        if (state == line_ended) return false;
        if (state == line_redraw) continue;
        if (line.text == "Yes") return true;
        if (line.text == "No") return false;
        line.text.clear();
    }
}

int status_screen(GList *status_list)
{
    const curses_session session;
    if (!session.is_open()) return 0;
    start_colors();
    const bool is_yes = ask_for_power_off(status_list);
    clear();
    refresh();
    return is_yes ? 1 : 0;
}

/* Reads one line and keeps what fits of it; the rest is part of this answer, not the next one. Returns false
 * at the end of input. */
static bool read_answer(std::string *answer)
{
    answer->clear();
    int c;
    while ((c = getchar()) != EOF && c != '\n')
        if (answer->size() < max_line_answer_len) answer->push_back(static_cast<char>(c));
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
