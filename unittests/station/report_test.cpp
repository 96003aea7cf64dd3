// A run as files: hostile texts, what stands where, and who signed it.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <sstream>

#include "station/report/signature.h"
#include "station/report/writers.h"
#include "support/process.h"
#include "support/test_camera.h"

namespace test {
namespace {

using namespace station;  // NOLINT(google-build-using-namespace)

const std::string kHostile = "=1+1,\"<script>alert('x')</script>\x01 & \xEF\xBF\xBD\n";

AttemptReport AttemptOf(std::int64_t number, const std::string& item, bool passed) {
  AttemptReport attempt;
  attempt.number = number;
  attempt.item = "test.items." + item;
  attempt.className = "CResBitEEPromItems";
  attempt.startedAt = 1'764'072'000'000;  // 2025-11-25T12:00:00Z
  attempt.isEnded = true;
  attempt.passed = passed;
  attempt.value = passed ? "OK      " : "E 0021  ";
  attempt.code = passed ? "" : "E 0021";
  return attempt;
}

// A pass with a measurement, a failure with all evidence and hostile texts, one without a result,
// one without an end.
RunReport SomeReport() {
  RunReport report;
  report.run.id = "019aba3c-5f23-7a10-9c1b-0f6c3a8d2e41";
  report.run.serial = "@SUM(A1)";
  report.run.variant = "KY";
  report.run.cameraName = kHostile;
  report.run.operatorName = kHostile;
  report.run.planTitle = "T";
  report.run.startedAt = 1'764'072'000'000;
  report.run.endedAt = 1'764'072'001'500;
  report.run.outcome = Outcome::Incomplete;
  report.run.reason = "camera lost";
  report.attempts.push_back(AttemptOf(1, "battery.battery", true));
  report.attempts[0].measurements = {{"voltage", "mV", 3700.5, std::nullopt, 4200}};
  report.attempts.push_back(AttemptOf(2, "eeprom.main", false));
  report.attempts[1].message = kHostile + std::string(70'000, 'm');
  report.attempts[1].evidence = {{EvidenceKind::Record, "bad \xFF utf"},
                                 {EvidenceKind::Trace, R"({"steps":[{"op":"i2c"}],"left_out":3})"},
                                 {EvidenceKind::Picture, "PNG"}};
  report.attempts.push_back(AttemptOf(3, "clock.clock", false));
  report.attempts[2].problem = "camera lost: gone";
  report.attempts.push_back(AttemptOf(4, "laser.laser", false));
  report.attempts[3].isEnded = false;
  report.courses = {{"test.items.battery.battery", "voltage", {3600, 3650, 3700.5}}};
  return report;
}

TEST(ReportTest, TablesAreTextForSpreadsheets) {
  std::ostringstream attempts;
  WriteAttempts(attempts, SomeReport());
  const std::string id = "019aba3c-5f23-7a10-9c1b-0f6c3a8d2e41,'@SUM(A1),";
  const std::string at = ",1,0,2025-11-25T12:00:00.000Z,0.0,";
  const std::string text = attempts.str();
  const std::string quoted =
      "\"'=1+1,\"\"<script>alert('x')</script>\x01 & \xEF\xBF\xBD\n" + std::string(70'000, 'm');
  EXPECT_EQ(text,
            "run,serial,number,item,round,retry,started_at,seconds,result,status,value,message,"
            "problem\r\n" +
                id + "1,test.items.battery.battery" + at + "OK,0,OK      ,,\r\n" + id +
                "2,test.items.eeprom.main" + at + "E 0021,0,E 0021  ," + quoted + "\",\r\n" + id +
                "3,test.items.clock.clock" + at + "no result,0,E 0021  ,,camera lost: gone\r\n" +
                id + "4,test.items.laser.laser" + at + "interrupted,0,E 0021  ,,\r\n");
  std::ostringstream measurements;
  WriteMeasurements(measurements, SomeReport());
  EXPECT_EQ(measurements.str(), "run,serial,number,item,name,unit,value,lower,upper\r\n" + id +
                                    "1,test.items.battery.battery,voltage,mV,3700.5,,4200.0\r\n");
}

TEST(ReportTest, JsonHoldsEverythingAsTheSchemaSays) {
  const std::string text = JsonOf(SomeReport(), "");
  EXPECT_EQ(text, JsonOf(SomeReport(), ""));
  const Json json = Json::parse(text);
  EXPECT_EQ(json["camera"]["name"], kHostile);
  EXPECT_EQ(json["ended_at"], "2025-11-25T12:00:01.500Z");
  const Json& failed = json["attempts"][1];
  EXPECT_EQ(failed["message"].get<std::string>().size(), kHostile.size() + 70'000);
  EXPECT_EQ(failed["records"][0], "bad \xEF\xBF\xBD utf");
  EXPECT_EQ(failed["trace"]["left_out"], 3);
  EXPECT_EQ(failed["picture"], "UE5H");
  EXPECT_EQ(json["attempts"][3]["result"], "interrupted");
  const TemporaryFolder folder;
  const std::string file = (folder.Path() / "run.json").string();
  std::ofstream(file) << text;
  Process check("/usr/bin/python3", {"-m", "jsonschema", "-i", file, TEST_RUN_SCHEMA});
  EXPECT_EQ(check.Wait(), 0) << check.Errors();
}

TEST(ReportTest, ThePageShowsFailuresFirstAndRunsNothing) {
  std::ostringstream out;
  WriteHtml(out, SomeReport(), "k1");
  const std::string page = out.str();
  // In this order.
  std::size_t at = 0;
  for (const char* const each :
       {"incomplete</h1>", "camera lost", "What failed", "eeprom.main", "E 0021", "Means",
        "Known causes", "bad \xEF\xBF\xBD utf", "The last 1 of 1 steps", "base64,UE5H",
        "What was measured", "3700.5 mV", "2 earlier runs, 3600 to 3700.5, now 3700.5",
        "Every attempt", "no result", "interrupted", "SHA-256", "k1"}) {
    const std::size_t found = page.find(each, at);
    EXPECT_NE(found, std::string::npos) << each;
    at = found == std::string::npos ? at : found;
  }
  EXPECT_EQ(page.find("<script"), std::string::npos);
  EXPECT_EQ(page.find(" style="), std::string::npos);
  EXPECT_EQ(page.find('\x01'), std::string::npos);
  EXPECT_NE(page.find(HtmlPolicy()), std::string::npos);
  EXPECT_NE(page.find(std::string(70'000, 'm')), std::string::npos);
}

TEST(ReportTest, JunitIsWhatTestServersTake) {
  const TemporaryFolder folder;
  const std::string file = folder.Path() / "run.xml";
  {
    std::ofstream out(file);
    WriteJunit(out, SomeReport());
  }
  Process lint("/usr/bin/xmllint", {"--noout", "--schema", TEST_JUNIT_SCHEMA, file});
  EXPECT_EQ(lint.Wait(), 0) << lint.Errors();
}

TEST(SignatureTest, SaysWhatIsWrongWithAFile) {
  const TemporaryFolder folder;
  const auto path = [&folder](const char* name) { return (folder.Path() / name).string(); };
  const SigningKey key = SigningKey::LoadOrMake(path("a.key"));
  EXPECT_EQ(SigningKey::LoadOrMake(path("a.key")).Id(), key.Id());
  struct stat made = {};
  EXPECT_EQ(stat(path("a.key").c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 0777U, 0600U);
  const SigningKey other = SigningKey::LoadOrMake(path("b.key"));
  std::ofstream(path("bad.key")) << "no key";
  EXPECT_THROW(SigningKey::LoadOrMake(path("bad.key")), std::runtime_error);
  EXPECT_THROW(SigningKey::LoadOrMake(path("no/folder")), std::runtime_error);

  const std::string json = JsonOf(SomeReport(), key.Id());
  const std::string signature = key.Sign(json);
  std::string altered = json;
  altered.at(json.find("3700.5")) = '4';
  std::string named = json;
  named.replace(named.find(key.Id()), key.Id().size(), other.Id());
  const std::tuple<std::string, std::optional<std::string>, std::string, Verdict> cases[] = {
      {json, signature, key.PublicPem(), Verdict::Genuine},
      {altered, signature, key.PublicPem(), Verdict::Altered},
      {named, signature, key.PublicPem(), Verdict::Altered},
      {json, signature.substr(1), key.PublicPem(), Verdict::Altered},
      {json, "", key.PublicPem(), Verdict::Altered},
      {json, signature, other.PublicPem(), Verdict::ForeignKey},
      {json, std::nullopt, key.PublicPem(), Verdict::NoSignature},
  };
  for (const auto& [text, signedBy, pem, verdict] : cases) {
    EXPECT_EQ(Verify(text, signedBy, pem), verdict);
    std::ofstream(path("json")) << text;
    std::ofstream(path("sig")) << signedBy.value_or("");
    std::ofstream(path("pem")) << pem;
    Process openssl("/usr/bin/openssl", {"pkeyutl", "-verify", "-pubin", "-inkey", path("pem"),
                                         "-rawin", "-in", path("json"), "-sigfile", path("sig")});
    EXPECT_EQ(openssl.Wait() == 0, verdict == Verdict::Genuine) << openssl.Output();
  }
  EXPECT_THROW(Verify(json, signature, "no key"), std::runtime_error);
}

}  // namespace
}  // namespace test
