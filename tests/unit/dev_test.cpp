#include "device/dev.h"

#include "helpers.h"

TEST(dev, order_is_host_then_target)
{
    static const uint32_t cases[][4] = {
  /* host and slot of the earlier, of the later */
        {0,           9,          1, 0},
        {2,           1,          2, 3},
        {0x80000001U, 0,          0, 0}, /* the difference wraps */
        {1,           0xFFFFFFFF, 1, 0},
    };
    for (const auto &[host, slot, later_host, later_slot] : cases) {
        const Dev dev = {.unit_host = host, .slot_id = slot};
        const Dev later = {.unit_host = later_host, .slot_id = later_slot};
        EXPECT_LT(compare_devices(&dev, &later), 0) << host << "," << slot;
        EXPECT_GT(compare_devices(&later, &dev), 0) << host << "," << slot;
        EXPECT_EQ(compare_devices(&dev, &dev), 0);
    }
}

TEST(dev, only_the_same_vendor_model_and_serial_is_a_duplicate)
{
    Dev listed = {.vendor = "V", .model = "M", .serial = "S"};
    GList *list = g_list_append(nullptr, &listed);
    for (const std::string id : {"VMS", "vMS", "VmS", "VMs"}) {
        Dev dev = {.vendor = id.substr(0, 1), .model = id.substr(1, 1), .serial = id.substr(2)};
        EXPECT_EQ(is_new_device(list, &dev), id != "VMS") << id;
        EXPECT_EQ(dev.selected, id != "VMS") << id;
    }
    g_list_free_full(list, [](gpointer) {});

    Dev dev = {.adapter = std::string(60, 'x'), .unit_host = 0xFFFFFFFF, .slot_id = 5};
    EXPECT_EQ(device_name(&dev), std::string(60, 'x') + " [-");
}
