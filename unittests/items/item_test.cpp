// The base of all test items: dispatch of a write, result texts, the log record.
#include <gtest/gtest.h>

#include <functional>

#include "coredll/handles.h"
#include "items/group_builder.h"
#include "items/i2c_transfer.h"
#include "items/res_bit_item_i2c.h"
#include "support/test_camera.h"
#include "tarq/node_access.h"
#include "task/test_root.h"

namespace test {
namespace {

// An item whose test is the body that a test case gives it.
class ScriptedItem : public CResBitItem {
 public:
  using CResBitItem::SetResultError;
  using CResBitItem::SetResultOK;
  using CResBitItem::SetResultTested;
  using Body = std::function<DWORD(ScriptedItem&)>;

  ScriptedItem(const char* name, const char* description, Body body)
      : CResBitItem(name, description), mBody(std::move(body)) {}
  DWORD RunTest(const TARQ::CResourceValue& /*written*/) override {
    EmptyMessage();
    return mBody(*this);
  }
  const char* Description() const { return mDescription; }
  const char* Message() const { return mMessage; }

 private:
  Body mBody;
};

// A camera with the test root and one scripted item, test.items.group.item.
class ItemTest : public ::testing::Test {
 protected:
  ItemTest() { EXPECT_EQ(BuildTestRoot(nullptr, 0), 0U); }

  ScriptedItem& AddItem(ScriptedItem::Body body, const char* description = "Item") {
    GroupBuilder group("group");
    auto* const item = new ScriptedItem("item", description, std::move(body));
    group.Add(item);
    return *item;
  }

  BareCamera mCamera;
  static constexpr char kPath[] = "test.items.group.item";
};

TEST_F(ItemTest, ResultTextsStatusesAndCodes) {
  const std::pair<ScriptedItem::Body, Result> cases[] = {
      {[](ScriptedItem& item) { return item.SetResultOK("fine"); }, {0, "OK      ", "fine"}},
      {[](ScriptedItem& item) { return item.SetResultTested("seen"); }, {0, "Tested  ", "seen"}},
      {[](ScriptedItem& item) { return item.SetResultError("m", 0x11); }, {1, "E 0011  ", "m"}},
      {[](ScriptedItem& item) { return item.SetResultError("m", 0x6401ABCD); },
       {1, "E ABCD  ", "m"}},
      {[](ScriptedItem& item) { return item.SetResultError("", 0); }, {1, "Error   ", ""}},
  };
  ScriptedItem::Body body;
  AddItem([&body](ScriptedItem& item) { return body(item); });
  EXPECT_EQ(mCamera.Get(kPath), "Untested");
  for (const auto& [test, expected] : cases) {
    body = test;
    EXPECT_EQ(mCamera.Run(kPath), expected);
    EXPECT_EQ(mCamera.Get(kPath), expected.value);
  }
}

TEST_F(ItemTest, OnlyTheExactWordUntestedResets) {
  int runs = 0;
  ScriptedItem& item = AddItem([&runs](ScriptedItem& self) {
    ++runs;
    return self.SetResultOK("");
  });
  for (const Json& written : {Json("run"), Json("untested"), Json("Untested "), Json(""), Json(5),
                              Json(true), Json(1.5)}) {
    EXPECT_EQ(mCamera.Write(kPath, written)["value"], "OK      ") << written;
  }
  EXPECT_EQ(runs, 7);
  const std::size_t lines = mCamera.LogLines().size();
  const Json reply = mCamera.Write(kPath, "Untested");
  EXPECT_EQ(reply["status"], 0);
  EXPECT_EQ(reply["value"], "Untested");
  EXPECT_TRUE(reply["records"].empty());
  EXPECT_EQ(runs, 7);
  EXPECT_EQ(mCamera.LogLines().size(), lines);
  EXPECT_EQ(item.Set(TARQ::CResourceValue(L"run"), 0, 0, nullptr), 0U);
  EXPECT_EQ(mCamera.Get(kPath), "OK      ");
  EXPECT_EQ(item.Set(TARQ::CResourceValue(L"Untested"), 0, 0, nullptr), 0U);
  EXPECT_EQ(mCamera.Get(kPath), "Untested");
}

TEST_F(ItemTest, DescriptionAndMessageAreCutWhereTheirBuffersEnd) {
  const std::string longMessage(200, 'x');
  ScriptedItem& item =
      AddItem([&](ScriptedItem& self) { return self.SetResultOK(longMessage.c_str()); },
              "A description of 25 chars");
  EXPECT_STREQ(item.Description(), "A description of 25");
  EXPECT_EQ(mCamera.Run(kPath).message, std::string(179, 'x'));
}

TEST_F(ItemTest, LaterRecordsOfARunCarryTheEarlierMessages) {
  AddItem([](ScriptedItem& item) {
    item.SetResultError("first, ", 1);
    item.SetResultTested("second");
    return item.SetResultOK(std::string(200, '.').c_str());
  });
  for (int run = 0; run < 2; ++run) {  // the next run starts empty
    const Json records = mCamera.Write(kPath, "run")["records"];
    ASSERT_EQ(records.size(), 3U);
    EXPECT_TRUE(records[0].get<std::string>().ends_with(";E 0001  ;first, "));
    EXPECT_TRUE(records[1].get<std::string>().ends_with(";Tested  ;first, second"));
    EXPECT_TRUE(records[2].get<std::string>().ends_with(";first, second" + std::string(166, '.')));
  }
}

TEST_F(ItemTest, LineHasTenPaddedFields) {
  AddItem([](ScriptedItem& item) { return item.SetResultOK(""); });
  mCamera.Run(kPath);
  EXPECT_EQ(mCamera.LogLines().back(),
            "12:00:00;2013-08-29;Unknown;Unknown            ;Unknown   ;Unknown ;"
            "Unknown            ;Item         ;OK      ;");

  mCamera.Write("test.description.tester", "Tester007");
  mCamera.Write("test.description.env", "");
  mCamera.Write("test.description.article", "A12345678901");
  mCamera.Write("test.description.serial", "1");
  mCamera.Write("test.description.category", std::string(70000, 'c'));
  mCamera.Set(".desk.clock.advance", "43325");  // past midnight
  mCamera.Run(kPath);
  EXPECT_EQ(mCamera.LogLines().back(),
            "00:02:05;2013-08-30;Tester007;                   ;A12345678901;1       ;" +
                std::string(70000, 'c') + ";Item         ;OK      ;");
}

TEST_F(ItemTest, OnlyTheExactFormatXmlGoesToTheSystemLog) {
  AddItem([](ScriptedItem& item) { return item.SetResultError("lost", 0x21); });
  EXPECT_EQ(mCamera.Write("test.description.format", "xml")["value"], "TEXT");  // not in its list
  const std::size_t lines = mCamera.LogLines().size();
  EXPECT_EQ(mCamera.Write("test.description.format", "XML")["value"], "XML");
  const Json reply = mCamera.Write(kPath, "run");
  const std::string record =
      "2013-08-29 12:00:00 <bitLog priority=\"1\" type=\"Test\" id=\"Item\" "
      "data=\"E 0021  :lost\" datatype=\"string\"/>";
  EXPECT_EQ(reply["records"], Json::array({record}));
  EXPECT_EQ(mCamera.Contents("/FlashFS/log/syslog.txt"), record + "\n");
  EXPECT_EQ(mCamera.LogLines().size(), lines);
}

// The record is written whatever is missing of the description.
TEST(LogRecordTest, MissingDescriptionLeavesBlanks) {
  BareCamera camera;
  TARQ::CServerResource& root = TARQ::NodeAccess::Root(camera.Camera().TaskTree());
  root.AddChild(
      new ScriptedItem("item", "Item", [](ScriptedItem& self) { return self.SetResultOK("m"); }),
      nullptr);
  camera.Run("item");
  EXPECT_EQ(camera.LogLines().back(),
            "12:00:00;2013-08-29;       ;                   ;          ;        ;"
            "                   ;Item         ;OK      ;m");

  // A format node that reads "XML" without a list counts as well; other children still miss.
  auto& description = TARQ::NodeAccess::MakeBranch(root, "test.description");
  auto* const format = new TARQ::CServerResource("format", TARQ::CResourceValue("XML"), 0);
  description.AddChild(format, nullptr);
  description.AddChild(new TARQ::CServerResource("serial", TARQ::CResourceValue("77"), 0), nullptr);
  camera.Run("item");
  EXPECT_EQ(camera.LogLines().size(), 1U);
  TARQ::NodeAccess::Store(*format, TARQ::CResourceValue("xml"));
  camera.Run("item");
  EXPECT_EQ(camera.LogLines().back(),
            "12:00:00;2013-08-29;       ;                   ;          ;77      ;"
            "                   ;Item         ;OK      ;m");
}

TEST(LogRecordTest, WithoutALocalTreeNothingIsAppendedOrWritten) {
  BareCamera camera;
  ScriptedItem item("item", "Item", [](ScriptedItem& self) { return self.SetResultOK("m"); });
  TARQ::CSupervisor::mpLocalResourceTree = nullptr;
  EXPECT_EQ(item.Set(TARQ::CResourceValue("run"), 0, 0, nullptr), 0U);
  EXPECT_STREQ(item.Message(), "");
  EXPECT_FALSE(std::filesystem::exists(camera.File("/FlashFS/tmp/bitlog.txt")));
}

TEST(LogRecordTest, LogThatCannotBeOpenedFailsNoTest) {
  TestCamera camera("KY");
  camera.Set(".desk.clock.advance", "0");  // the task has made its folder
  std::filesystem::remove_all(camera.File("/FlashFS/tmp"));
  EXPECT_EQ(camera.Run("test.items.eeprom.main"), (Result{0, "OK      ", "no record"}));
  EXPECT_EQ(camera.Write("test.clearLog", true)["status"], 0);
  std::filesystem::create_directory(camera.File("/FlashFS/tmp"));
  EXPECT_EQ(camera.Run("test.items.eeprom.main").message, "Main EEPROM:Detected, ");
}

class TransferItem : public CResBitItemI2C {
 public:
  using CResBitItemI2C::CResBitItemI2C;
  using CResBitItemI2C::Transfer;
  DWORD RunTest(const TARQ::CResourceValue& /*written*/) override { return 0; }
};

TEST(I2cItemTest, SendsTheLowBytesFirstAndReportsTheDriversError) {
  BareCamera camera;
  const std::size_t handles = desk::OpenHandles();
  {
    TransferItem item("item", "Item", false);
    BYTE bytes[3] = {};
    // An EEPROM takes the first byte as its address and stores the rest.
    EXPECT_EQ(item.Transfer(0xAE, bytes, 0, 0x00332210, 3), 0U);
    EXPECT_EQ(item.Transfer(0xAE, bytes, 3, 0x10, 1), 0U);
    EXPECT_EQ(bytes[0], 0x22);
    EXPECT_EQ(bytes[1], 0x33);
    EXPECT_EQ(bytes[2], 0xFF);
    EXPECT_EQ(item.Transfer(0xD2, bytes, 1, 0, 1), 1117U);  // nobody there
    camera.Set(".desk.driver.i2c1.error", "55");
    camera.Set(".desk.driver.i2c1.fail", "0,1");
    EXPECT_EQ(item.Transfer(0xAE, bytes, 1, 0, 1), 55U);
    EXPECT_EQ(desk::OpenHandles(), handles + 1);
  }
  EXPECT_EQ(desk::OpenHandles(), handles);
}

TEST(I2cItemTest, TransferOfItsOwnLeavesNothingOpen) {
  BareCamera camera("KY", ".desk.driver.i2c1.present=false");
  const std::size_t handles = desk::OpenHandles();
  BYTE byte = 0x5A;
  EXPECT_EQ(I2CTransfer(0xAE, &byte, 1, 0, 1), 0U);
  EXPECT_EQ(byte, 0x5A);
  camera.Set(".desk.driver.i2c1.present", "true");
  EXPECT_EQ(I2CTransfer(0xAE, &byte, 1, 0, 1), 1U);
  EXPECT_EQ(desk::OpenHandles(), handles);
}

}  // namespace
}  // namespace test
