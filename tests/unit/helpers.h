/* helpers.h - what many unit tests need: files of their own, a look at the streams, settings for a while. */
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <utility>

/* Gives a setting another value while it lives. */
template <typename T>
struct set_for_now {
    set_for_now(T &s, T value) : setting(s), before(std::exchange(s, std::move(value))) {}
    set_for_now(const set_for_now &) = delete;
    ~set_for_now() { setting = std::move(before); }
    T &setting;
    T before;
};

/* A directory of the test's own, removed with all it holds. */
struct temp_dir {
    temp_dir() { EXPECT_NE(mkdtemp(root.data()), nullptr); }
    temp_dir(const temp_dir &) = delete;
    ~temp_dir() { std::filesystem::remove_all(root); }
    [[nodiscard]] std::string path(const std::string &name) const { return root + "/" + name; }

    /* Writes a file, and the directories above it; returns its path. */
    std::string write(const std::string &name, const std::string &content)
    {
        std::filesystem::create_directories(std::filesystem::path(path(name)).parent_path());
        std::ofstream(path(name), std::ios::binary) << content;
        return path(name);
    }
    std::string root = testing::TempDir() + "vandrel-unit-XXXXXX";
};

inline std::string content_of(const std::string &path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

/* What fn writes to the stream (stdout or stderr) while it runs. */
template <typename Function>
std::string written_to(FILE *&stream, Function fn)
{
    char *text = nullptr;
    size_t len = 0;
    FILE *const before = std::exchange(stream, open_memstream(&text, &len));
    fn();
    fclose(std::exchange(stream, before));
    std::string result(text, len);
    free(text);
    return result;
}

/* "12 0a" to two bytes, and back. */
inline std::string bytes(const std::string &hex_digits)
{
    std::istringstream in(hex_digits);
    std::string result;
    for (unsigned byte; in >> std::hex >> byte;)
        result.push_back(static_cast<char>(byte));
    return result;
}

inline std::string hex(const void *data, size_t len)
{
    std::string result;
    for (size_t i = 0; i < len; ++i) {
        char digits[4];
        snprintf(digits, sizeof digits, i ? " %02x" : "%02x", static_cast<const uint8_t *>(data)[i]);
        result += digits;
    }
    return result;
}
