// Temperature tests: conversions at their edges, the sensors of each camera, retries, the dual
// item.
#include <gtest/gtest.h>

#include "support/steps.h"
#include "tests/device/temperature.h"

namespace test {
namespace {

using Lines = std::vector<std::string>;

TEST(ConversionTest, BlockWordsAreMostSignificantByteFirstBehindTheStatusByte) {
  const BYTE answer[13] = {0xFF, 0x00, 0x25, 0x14, 0x31, 0x00, 0x34,
                           0x56, 0x2F, 0x12, 0x34, 0x56, 0x78};
  EXPECT_EQ(BlockTemperature(answer, 0), 2430001U);
  EXPECT_EQ(BlockTemperature(answer, 1), 3429935U);
  EXPECT_EQ(BlockTemperature(answer, 2), 0x12345678U);
}

TEST(ConversionTest, SensorStepsTruncateTowardZero) {
  struct Case {
    BYTE bytes[2];
    Temperature is;
  };
  const Case cases[] = {
      {{0x19, 0x00}, 3231600}, {{0xE7, 0x00}, 2231600}, {{0x00, 0x00}, 2731600},
      {{0x00, 0x01}, 2731678}, {{0xFF, 0xFF}, 2731522}, {{0xFF, 0x81}, 2721679},
      {{0x7F, 0xFF}, 5291521}, {{0x80, 0x00}, 171600},
  };
  for (const auto& [bytes, is] : cases) EXPECT_EQ(SensorTemperature(bytes), is);
}

TEST(ConversionTest, ConverterReckonsInSinglePrecision) {
  struct Case {
    BYTE bytes[4];
    Temperature is;
  };
  const Case cases[] = {
      {{0x00, 0x00, 0x00, 0x00}, 134097},  {{0x00, 0x00, 0x00, 0x40}, 134097},
      {{0x1A, 0x80, 0x00, 0x00}, 2661492}, {{0x1F, 0xFF, 0xFF, 0xC0}, 3186044},
      {{0x20, 0x00, 0x00, 0x00}, 3186045}, {{0x1D, 0x95, 0x0C, 0x80}, 2955454},
      {{0x1B, 0x69, 0xD0, 0x00}, 2748599}, {{0x3F, 0xFF, 0xFF, 0xC0}, 6237993},
      {{0xDE, 0x8E, 0xD7, 0x3F}, 3048514},  // the top two bits and the low six do not count
  };
  for (const auto& [bytes, is] : cases) EXPECT_EQ(ConverterTemperature(bytes), is);
}

TEST(ConversionTest, PlausibleRangeIsInclusive) {
  EXPECT_FALSE(IsPlausible(2430000));
  EXPECT_TRUE(IsPlausible(2430001));
  EXPECT_TRUE(IsPlausible(3429999));
  EXPECT_FALSE(IsPlausible(3430000));
  EXPECT_EQ(TemperatureText("Lens", 2430001), "Lens:243.000100 K, ");
  EXPECT_EQ(TemperatureText("Lens", 3430000), "Lens:Out of range 343.000000 K, ");
}

TEST(SensorGroupTest, VisualCamerasOwnSensorNeedsItsModel) {
  for (const char* const knob :
       {".system.vcam.model=MT9M112", ".system.vcam.model=mt9m111",
        ".desk.hidden=system.vcam.model", ".desk.unreadable=system.vcam.model"}) {
    TestCamera camera("K", knob);
    EXPECT_EQ(camera.Tree("test.items.tempsens")["children"].size(), 4U) << knob;
    EXPECT_TRUE(camera.Tree("test.items.tempsens.TSVcam").is_null());
  }
}

TEST(ConverterTest, ChipGivesEveryTemperatureExactly) {
  TestCamera camera("KY");
  for (const char* const temperature : {"2430001", "2731500", "2981500", "3186044", "3429999"}) {
    camera.Set(".desk.bus.i2c2.2a.temperature", temperature);
    const std::string kelvin = std::string(temperature, 3) + "." + (temperature + 3) + "00";
    EXPECT_EQ(camera.Run("test.items.tempsens.TSLens"),
              (Result{0, "OK      ", "Tempsens Lens:" + kelvin + " K, "}));
  }
  for (const char* const temperature : {"2430000", "3430000"}) {
    camera.Set(".desk.bus.i2c2.2a.temperature", temperature);
    EXPECT_EQ(camera.Run("test.items.tempsens.TSLens").value, "E 0032  ");
  }
}

TEST(ConverterTest, IsAskedUntilItAnswersAndEachAttemptHasItsPause) {
  TestCamera camera("KY", ".desk.bus.i2c2.2a.conversion=0.6");
  const Json reply = camera.Write("test.items.tempsens.TSLens", "run");
  EXPECT_EQ(reply["value"], "OK      ");
  const std::string asked =
      "0 i2c I2C2: 2a 00  false; 0 sleep 300; 300 i2c I2C2: 2a 00  false; 300 sleep 300; "
      "600 i2c I2C2: 2a 00 ";
  EXPECT_EQ(Steps(reply).substr(0, asked.size()), asked);
  EXPECT_EQ(Steps(reply).substr(asked.size() + 8), " true; 600 sleep 300");  // behind four bytes
  camera.Set(".desk.bus.i2c2.2a.conversion", "100");
  EXPECT_EQ(camera.Run("test.items.tempsens.TSLens").value, "E 0031  ");
  camera.Set(".desk.bus.i2c2.2a.conversion", "0");  // ends the one that is under way
  EXPECT_EQ(camera.Run("test.items.tempsens.TSLens").value, "OK      ");
}

TEST(ConverterTest, IsGivenUpAfterTenAttempts) {
  TestCamera camera("M7");
  camera.Set(".desk.bus.i2c2.48.answers", "false");
  const Json reply = camera.Write("test.items.tempsens.TSFront", "run");
  EXPECT_EQ(reply["value"], "E 0031  ");
  EXPECT_EQ(reply["elapsed_ms"], 3000.0);
  EXPECT_EQ(TraceLines(reply).size(), 21U);
  // The tenth answer still counts.
  camera.Set(".desk.bus.i2c2.48.answers", "true");
  camera.Set(".desk.bus.i2c2.48.fail", "0,9");
  EXPECT_EQ(camera.Run("test.items.tempsens.TSFront").value, "OK      ");
}

// The probes write the records; their bus is open before the first reads, and closed before the run
// returns.
TEST(DualTest, OneSensorSuffices) {
  constexpr char kAbsent[] = "E 0031  ;Tempsens Shutter:Tempsens not detected ";
  constexpr char kSecond[] = "OK      ;Tempsens Shutter:298.152100 K, ";
  struct Case {
    const char* faults;
    const char* value;
    Lines records;  // their ends, behind the description
  };
  const Case cases[] = {
      {"", "OK      ", {"OK      ;Tempsens Shutter:298.150000 K, "}},
      {".desk.bus.i2c2.4c.answers=false", "OK      ", {kAbsent, kSecond}},
      {".desk.bus.i2c2.4c.temperature=2430000",
       "OK      ",
       {"E 0032  ;Tempsens Shutter:Out of range 243.000000 K, ", kSecond}},
      {".desk.bus.i2c2.4c.answers=false;.desk.bus.i2c2.90.temperature=2231600",
       "E 0031  ",
       {kAbsent, "E 0032  ;Tempsens Shutter:Out of range 223.160000 K, "}},
  };
  for (const auto& [faults, value, records] : cases) {
    TestCamera camera("KY", faults);
    const Json reply = camera.Write("test.items.tempsens.TSShutter", "run");
    EXPECT_EQ(reply["status"], *value == 'E' ? 1 : 0) << faults;
    EXPECT_EQ(reply["value"], value) << faults;
    ASSERT_EQ(reply["records"].size(), records.size()) << faults;
    for (std::size_t i = 0; i < records.size(); ++i) {
      const auto record = reply["records"][i].get<std::string>();
      EXPECT_TRUE(record.ends_with(";Tempsens Shutter;" + records[i])) << record;
    }
    const Lines steps = TraceLines(reply);
    EXPECT_EQ(std::count(steps.begin(), steps.end(), "0 open I2C2: true"), 2);
    const auto closes = [](const auto& step) { return step.ends_with(" close I2C2: true"); };
    EXPECT_EQ(std::count_if(steps.begin(), steps.end(), closes), 2);
  }
}

TEST(TempsensNTest, ReportsAllThreeAndCutsAtNinetyNineCharacters) {
  TestCamera camera("N");
  constexpr char kItem[] = "test.items.tempsens";
  EXPECT_EQ(camera.Run(kItem), (Result{0, "OK      ",
                                       "Aperture:298.150000 K, Shutter:298.400000 K, "
                                       "Front:297.900000 K, "}));
  camera.Set(".desk.bus.i2c1.e0.temperature1", "3430000");
  EXPECT_EQ(camera.Run(kItem), (Result{1, "E 0032  ",
                                       "Aperture:298.150000 K, Shutter:Out of range 343.000000 K, "
                                       "Front:297.900000 K, "}));
  for (const char* const word : {"0", "1", "2"}) {
    camera.Set(std::string(".desk.bus.i2c1.e0.temperature") + word, "4294967295");
  }
  EXPECT_EQ(camera.Run(kItem).message,
            "Aperture:Out of range 429496.729500 K, Shutter:Out of range 429496.729500 K, "
            "Front:Out of range 429");
  camera.Set(".desk.bus.i2c1.e0.answers", "false");
  EXPECT_EQ(camera.Run(kItem), (Result{1, "E 0031  ", "Tempsens not detected"}));
}

}  // namespace
}  // namespace test
