// Object paths, as a provider makes, fills and reads them.
#include "tests/broker/brokertest.h"

using broker::ObjectPath;
using broker::Property;
using broker::Value;
using testing::ElementsAre;

class PathTest : public ObjectTest {
 protected:
    CMPIData key(const char* name) { return path->ft->getKey(path, name, &rc); }

    CMPIObjectPath* path = newPath("Test_Class");
};

TEST_F(PathTest, KnowsNamespaceAndClassAsGiven) {
    EXPECT_EQ(text(path->ft->getClassName(path, &rc)), "Test_Class");
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_EQ(scope->read(path), (ObjectPath{"root/kavix", "Test_Class", {}}));
}

TEST_F(PathTest, IsNotMadeWithoutAClass) {
    EXPECT_EQ(mb->eft->newObjectPath(mb, "root/kavix", nullptr, &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_PARAMETER);
}

TEST_F(PathTest, TakesANullNamespaceForAnEmptyOne) {
    CMPIObjectPath* bare = mb->eft->newObjectPath(mb, nullptr, "Test_Class", nullptr);
    EXPECT_EQ(scope->read(bare).nameSpace, "");
}

TEST_F(PathTest, ReadsCharacterKeysBackAsStringsWithTheKeyState) {
    EXPECT_EQ(addKey(path, "Tag", "4"), CMPI_RC_OK);
    const CMPIData data = key("Tag");
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_EQ(data.type, CMPI_string);
    EXPECT_EQ(data.state, CMPI_keyValue);
    EXPECT_EQ(text(data), "4");
}

TEST_F(PathTest, CopiesCharacterKeys) {
    std::string tag = "before";
    path->ft->addKey(path, "Tag", chars(tag.c_str()), CMPI_chars);
    tag = "later";
    EXPECT_EQ(text(key("Tag")), "before");
}

TEST_F(PathTest, TakesStringKeysThroughTheirStringObject) {
    CMPIValue value{};
    value.string = newString("4");
    EXPECT_EQ(path->ft->addKey(path, "Tag", &value, CMPI_string).rc, CMPI_RC_OK);
    EXPECT_EQ(text(key("Tag")), "4");
}

TEST_F(PathTest, ReadsExactlyTheBytesOfAnIntegerKeysType) {
    const CMPIUint64 wide = 0x1122334455667788;
    const auto* value = reinterpret_cast<const CMPIValue*>(&wide);
    path->ft->addKey(path, "Eight", value, CMPI_uint8);
    path->ft->addKey(path, "Sixteen", value, CMPI_uint16);
    path->ft->addKey(path, "ThirtyTwo", value, CMPI_uint32);
    path->ft->addKey(path, "SixtyFour", value, CMPI_uint64);
    EXPECT_EQ(key("Eight").value.uint64, 0x88);
    EXPECT_EQ(key("Sixteen").value.uint64, 0x7788);
    EXPECT_EQ(key("ThirtyTwo").value.uint64, 0x55667788);
    EXPECT_EQ(key("SixtyFour").value.uint64, wide);
}

TEST_F(PathTest, ReadsIntegerKeysFromVariablesOfTheirOwnSize) {
    const CMPIUint8 bytes[3] = {1, 200, 3};
    path->ft->addKey(path, "Byte", reinterpret_cast<const CMPIValue*>(&bytes[1]), CMPI_uint8);
    EXPECT_EQ(key("Byte").value.uint8, 200);
}

TEST_F(PathTest, FindsKeysInAnyCaseAndKeepsTheFirstSpellingAndPlace) {
    addKey(path, "Tag", "first");
    addKey(path, "A", "other");
    addKey(path, "TAG", "second");
    EXPECT_EQ(text(key("tag")), "second");
    EXPECT_THAT(scope->read(path).keys,
                ElementsAre(Property{"Tag", Value::string("second")}, Property{"A", Value::string("other")}));
}

TEST_F(PathTest, AnswersNotFoundForAnUnknownKey) {
    const CMPIData data = key("Nothing");
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(data.type, CMPI_null);
    EXPECT_EQ(data.state, CMPI_notFound);
    EXPECT_EQ(path->ft->getKey(path, "Nothing", nullptr).state, CMPI_notFound);
}

TEST_F(PathTest, StoresADeepCopyOfAReference) {
    CMPIObjectPath* other = newPath("Test_Other");
    addKey(other, "Tag", "before");
    CMPIValue value{};
    value.ref = other;
    EXPECT_EQ(path->ft->addKey(path, "Other", &value, CMPI_ref).rc, CMPI_RC_OK);
    addKey(other, "Tag", "later");
    const CMPIData data = key("Other");
    EXPECT_EQ(data.type, CMPI_ref);
    EXPECT_EQ(text(data.value.ref->ft->getKey(data.value.ref, "Tag", nullptr)), "before");
}

TEST_F(PathTest, ReadsANullReferenceBackAsNull) {
    CMPIValue value{};
    EXPECT_EQ(path->ft->addKey(path, "Other", &value, CMPI_ref).rc, CMPI_RC_OK);
    const CMPIData data = key("Other");
    EXPECT_EQ(data.type, CMPI_ref);
    EXPECT_EQ(data.state, CMPI_keyValue | CMPI_nullValue);
    EXPECT_EQ(data.value.ref, nullptr);
}

TEST_F(PathTest, RefusesAReferenceThatIsNoPath) {
    CMPIValue value{};
    value.string = newString("no path");
    EXPECT_EQ(path->ft->addKey(path, "Other", &value, CMPI_ref).rc, CMPI_RC_ERR_TYPE_MISMATCH);
    EXPECT_TRUE(scope->read(path).keys.empty());
}

TEST_F(PathTest, RefusesKeysWithoutNameAndKeysThatAreArrays) {
    EXPECT_EQ(path->ft->addKey(path, nullptr, chars("x"), CMPI_chars).rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(addKey(path, "", "x"), CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(path->ft->addKey(path, "Many", nullptr, CMPI_uint8A).rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
    EXPECT_EQ(path->ft->addKey(path, "When", nullptr, CMPI_dateTime).rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
    EXPECT_TRUE(scope->read(path).keys.empty());
}
