#include "device/dev.h"

#include "helpers.h"

#include <fcntl.h>

TEST(dev, order_is_host_then_target)
{
    static const uint32_t cases[][4] = {
  /* host and slot of the earlier, of the later */
        {2,           1, 2, 3},
        {0x80000001U, 9, 0, 0}, /* the difference wraps */
    };
    for (const auto &[host, slot, later_host, later_slot] : cases) {
        const Dev dev = {.unit_host = host, .slot_id = slot};
        const Dev later = {.unit_host = later_host, .slot_id = later_slot};
        EXPECT_LT(compare_devices(&dev, &later), 0) << host << "," << slot;
        EXPECT_GT(compare_devices(&later, &dev), 0) << host << "," << slot;
    }
    const Dev dev = {.adapter = std::string(60, 'x'), .unit_host = 0xFFFFFFFF, .slot_id = 5};
    EXPECT_EQ(device_name(&dev), std::string(60, 'x') + " [-");
}

TEST(dev, only_the_same_vendor_model_and_serial_is_a_duplicate)
{
    static const char taken[] =
        "[2,5] taken for sda [1,0] and not listed: both are \"V\" \"M\", serial number ";
    static const struct {
        text vendor, model, listed, found; /* the listed drive's are "V" and "M" */
        bool is_new;
        std::string said;
    } cases[] = {
        {"V", "M", "S",         "S",         false, ""                                    },
        {"v", "M", "S",         "S",         true,  ""                                    },
        {"V", "m", "S",         "S",         true,  ""                                    },
        {"V", "M", "S",         "s",         true,  ""                                    },
        {"V", "M", {},          {},          true,  ""                                    }, /* silence is no name */
        {"V", {},  "S",         "S",         true,  ""                                    },
        {"V", "M", "<unknown>", "<unknown>", false, taken + std::string("\"<unknown>\"\n")},
        {"V", "M", "",          "",          false, taken + std::string("\"\"\n")         },
    };
    for (const auto &c : cases) {
        Dev listed = {.adapter = "sda",
                      .unit_host = 1,
                      .vendor = "V",
                      .model = c.model ? "M" : text(),
                      .serial = c.listed};
        Dev dev = {.unit_host = 2, .slot_id = 5, .vendor = c.vendor, .model = c.model, .serial = c.found};
        GList *list = g_list_append(nullptr, &listed);
        EXPECT_EQ(written_to(stderr, [&] { EXPECT_EQ(is_new_device(list, &dev), c.is_new); }), c.said);
        EXPECT_EQ(dev.selected, c.is_new);
        g_list_free_full(list, [](gpointer) {});
    }
}

TEST(dev, release_closes_the_descriptor_that_is_open)
{
    Dev *none = new_dev({});
    EXPECT_EQ(none->fd, -1);
    EXPECT_EQ(none->locate_pid, -1);
    free_one_dev(none); /* not standard input */
    EXPECT_NE(fcntl(STDIN_FILENO, F_GETFD), -1);

    Dev *open_drive = new_dev({});
    const int fd = open_drive->fd = open("/dev/null", O_RDONLY);
    free_one_dev(open_drive);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}
