#include "rehearsal/launch/vandrel_arguments.h"

#include <filesystem>
#include <string_view>

namespace rehearsal
{

namespace
{

/* "--targets" and what the parser accepts as its abbreviation, with the list as the next argument. */
bool is_targets_alone(std::string_view arg)
{
    return arg.size() > 2 && std::string_view("--targets").starts_with(arg);
}

class splitter
{
  public:
    splitter(std::span<const char *const> args, vandrel_arguments &result) : args_(args), result_(result) {}

    void run()
    {
        while (next_ < args_.size()) {
            const std::string_view arg = args_[next_++];
            if (arg == "--") {
                keep(arg);
                break;
            }
            if (arg.starts_with("--") || !arg.starts_with('-') || arg.size() == 1)
                keep_word(arg);
            else
                split_bundle(arg.substr(1));
        }
        while (next_ < args_.size())
            keep(args_[next_++]);
    }

    /* Where the map file stands among the kept arguments, behind "-M" if that is of length 2. */
    std::vector<size_t> maps;

  private:
    void keep(std::string_view arg) { result_.kept.emplace_back(arg); }

    void keep_word(std::string_view arg)
    {
        keep(arg);
        if (is_targets_alone(arg) && next_ < args_.size()) keep(args_[next_++]);
    }

    /* Short options: letters, up to one that takes the rest of the word or the next one as its argument. */
    void split_bundle(std::string_view letters)
    {
        const size_t at = letters.find_first_of("MR");
        if (at != 0) keep("-" + std::string(letters.substr(0, at)));
        if (at == std::string_view::npos) return;
        const std::string option = std::string("-") + letters[at];
        std::string_view value = letters.substr(at + 1);
        if (value.empty()) {
            if (next_ == args_.size()) {
                keep(option); /* the program itself says what is missing */
                return;
            }
            value = args_[next_++];
        }
        if (letters[at] == 'R') {
            result_.given_root = value;
            return;
        }
        keep(option);
        keep(value);
        maps.push_back(result_.kept.size() - 1);
    }

    std::span<const char *const> args_;
    vandrel_arguments &result_;
    size_t next_ = 0;
};

} // namespace

vandrel_arguments split_arguments(std::span<const char *const> args, const std::string &current_dir)
{
    namespace fs = std::filesystem;
    vandrel_arguments result;
    splitter s(args, result);
    s.run();
    const fs::path base = fs::path(current_dir) / result.given_root;
    for (const size_t i : s.maps)
        result.kept[i] = (base / result.kept[i]).string();
    return result;
}

} // namespace rehearsal
