// SPDX-License-Identifier: MIT
// Device ranges of all families, both ends of each: the last element is there, the next is not.
#include "bench.h"

#include <gtest/gtest.h>

namespace
{

struct RangeRow {
    const char *device;
    const char *last;
    const char *past;
};

struct ModelRow {
    const char *model;
    int code;
    std::vector<RangeRow> ranges;
    std::vector<const char *> missing;
};

// clang-format off
const std::vector<RangeRow> kv8000Ranges{
    { "R",  "R199915",  "R200000"  }, { "B",  "B7FFF",    "B8000"   }, { "MR",  "MR399915", "MR400000" },
    { "LR", "LR99915",  "LR100000" }, { "CR", "CR7915",   "CR8000"  }, { "VB",  "VBF9FF",   "VBFA00"   },
    { "DM", "DM65534",  "DM65535"  }, { "EM", "EM65534",  "EM65535" }, { "FM",  "FM32767",  "FM32768"  },
    { "ZF", "ZF524287", "ZF524288" }, { "W",  "W7FFF",    "W8000"   }, { "TM",  "TM511",    "TM512"    },
    { "Z",  "Z12",      "Z13"      }, { "AT", "AT7",      "AT8"     }, { "T",   "T3999",    "T4000"    },
    { "C",  "C3999",    "C4000"    }, { "CTH", "CTH1",    "CTH2"    }, { "CTC", "CTC3",     "CTC4"     },
    { "TS", "TS3999",   "TS4000"   }, { "CS", "CS3999",   "CS4000"  }, { "CM",  "CM7599",   "CM7600"   },
    { "VM", "VM589823", "VM589824" },
};
const std::vector<RangeRow> kv5000Ranges{
    { "R",  "R99915",   "R100000"  }, { "B",  "B3FFF",    "B4000"   }, { "MR",  "MR99915",  "MR100000" },
    { "LR", "LR99915",  "LR100000" }, { "CR", "CR3915",   "CR4000"  }, { "VB",  "VB3FFF",   "VB4000"   },
    { "DM", "DM65534",  "DM65535"  }, { "EM", "EM65534",  "EM65535" }, { "FM",  "FM32767",  "FM32768"  },
    { "ZF", "ZF131071", "ZF131072" }, { "W",  "W3FFF",    "W4000"   }, { "TM",  "TM511",    "TM512"    },
    { "Z",  "Z12",      "Z13"      }, { "AT", "AT7",      "AT8"     }, { "T",   "T3999",    "T4000"    },
    { "CM", "CM5999",   "CM6000"   }, { "VM", "VM59999",  "VM60000" },
};
const std::vector<RangeRow> kv1000Ranges{
    { "R",  "R59915",  "R60000"  }, { "MR", "MR99915", "MR100000" }, { "LR", "LR99915", "LR100000" },
    { "CR", "CR3915",  "CR4000"  }, { "DM", "DM65534", "DM65535"  }, { "EM", "EM65534", "EM65535"  },
    { "FM", "FM32766", "FM32767" }, { "T",  "T3999",   "T4000"    },
};
const std::vector<RangeRow> kv700Ranges{
    { "R",  "R59915",  "R60000"  }, { "CR", "CR3915", "CR4000" }, { "DM", "DM19999", "DM20000" },
    { "T",  "T511",    "T512"    }, { "C",  "C511",   "C512"   }, { "TS", "TS511",   "TS512"   },
};
const std::vector<RangeRow> nanoRanges{
    { "R",  "R59915",  "R60000"  }, { "B",   "B1FFF",   "B2000"   }, { "MR",  "MR59915", "MR60000" },
    { "LR", "LR19915", "LR20000" }, { "CR",  "CR8915",  "CR9000"  }, { "VB",  "VB1FFF",  "VB2000"  },
    { "DM", "DM32767", "DM32768" }, { "W",   "W3FFF",   "W4000"   }, { "T",   "T511",    "T512"    },
    { "C",  "C255",    "C256"    }, { "CTH", "CTH3",    "CTH4"    }, { "CTC", "CTC7",    "CTC8"    },
    { "CM", "CM8999",  "CM9000"  }, { "VM",  "VM9499",  "VM9500"  },
};
const std::vector<ModelRow> modelRows{
    { "KV-8000",  57,  kv8000Ranges, {} },
    { "KV-8000A", 58,  kv8000Ranges, {} },
    { "KV-7500",  55,  kv8000Ranges, {} },
    { "KV-7300",  54,  kv8000Ranges, {} },
    { "KV-5500",  53,  kv5000Ranges, {} },
    { "KV-5000",  52,  kv5000Ranges, {} },
    { "KV-3000",  51,  kv5000Ranges, {} },
    { "KV-1000",  0,   kv1000Ranges, { "B0", "VB0", "ZF0", "W0", "VM0", "AT0" } },
    { "KV-700",   0,   kv700Ranges,  { "B0", "MR0", "LR0", "VB0", "EM0", "FM0", "ZF0", "W0", "VM0", "AT0" } },
    { "KV-NC32T", 128, nanoRanges,   { "EM0", "FM0", "ZF0", "AT0" } },
    { "KV-N60",   132, nanoRanges,   { "EM0", "FM0", "ZF0", "AT0" } },
    { "KV-N40",   133, nanoRanges,   { "EM0", "FM0", "ZF0", "AT0" } },
    { "KV-N24",   134, nanoRanges,   { "EM0", "FM0", "ZF0", "AT0" } },
};
// clang-format on

kvsim::Rules rulesOf(const char *name)
{
    const kvsim::Model *model = kvsim::modelNamed(name);
    kvsim::Rules rules;
    rules.family = model->family;
    rules.modelCode = model->code;
    return rules;
}

class ModelTest : public testing::TestWithParam<ModelRow>
{
protected:
    std::string read(const std::string &operand) { return bench.opened().send("RD " + operand + "\r"); }

    Bench bench{rulesOf(GetParam().model)};
};

TEST_P(ModelTest, hasItsDevicesUpToTheLastElement)
{
    for (const RangeRow &row : GetParam().ranges) {
        EXPECT_NE(read(row.last).front(), 'E') << row.last;
        EXPECT_EQ(read(row.past), "E0\r\n") << row.past;
    }
}

TEST_P(ModelTest, lacksWhatItLacks)
{
    for (const char *operand : GetParam().missing)
        EXPECT_EQ(read(operand), "E0\r\n") << operand;
}

TEST_P(ModelTest, tellsItsCode)
{
    const std::string code = GetParam().code == 0 ? "E1" : std::to_string(GetParam().code);
    EXPECT_EQ(bench.opened().send("?K\r"), code + "\r\n");
}

INSTANTIATE_TEST_SUITE_P(Models, ModelTest, testing::ValuesIn(modelRows), [](const auto &row) {
    std::string name = row.param.model;
    std::erase(name, '-');
    return name;
});

TEST(Models, areAllTested)
{
    EXPECT_EQ(kvsim::models().size(), modelRows.size());
}

// Both ends: what is written into the last element of a device comes back from there and
// from nowhere else.
TEST(Cells, areOnesOwn)
{
    Bench bench;
    bench.opened();
    EXPECT_EQ(bench.send("WR DM65534 1\rWR EM65534 2\rWR ZF524287 3\rWR VM589823 4\rST R199915\rST VBF9FF\r"),
              "OK\r\nOK\r\nOK\r\nOK\r\nOK\r\nOK\r\n");
    EXPECT_EQ(
        bench.send(
            "RDS DM65533 2\rRDS EM65533 2\rRDS ZF524286 2\rRDS VM589822 2\rRDS R199914 2\rRDS VBF9FE 2\r"),
        "00000 00001\r\n00000 00002\r\n00000 00003\r\n00000 00004\r\n0 1\r\n0 1\r\n");
}

} // namespace
