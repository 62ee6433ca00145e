#include "tests/broker/brokertest.h"

using broker::ObjectPath;
using broker::Value;

class PathTest : public ObjectTest {
 protected:
    CMPIData key(const char* name) { return path->ft->getKey(path, name, &rc); }

    CMPIObjectPath* path = newPath("Test_Class");
};

TEST_F(PathTest, KnowsNamespaceAndClassAsGiven) {
    EXPECT_EQ(text(path->ft->getNameSpace(path, &rc)), "root/kavix");
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_EQ(text(path->ft->getClassName(path, nullptr)), "Test_Class");
}

TEST_F(PathTest, IsNotMadeWithoutAClass) {
    EXPECT_EQ(mb->eft->newObjectPath(mb, "root/kavix", nullptr, &rc), nullptr);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_INVALID_PARAMETER);
}

TEST_F(PathTest, TakesANullNamespaceForAnEmptyOne) {
    CMPIObjectPath* bare = mb->eft->newObjectPath(mb, nullptr, "Test_Class", nullptr);
    EXPECT_EQ(text(bare->ft->getNameSpace(bare, nullptr)), "");
}

TEST_F(PathTest, TakesNewNamespaceClassAndHost) {
    EXPECT_EQ(path->ft->setNameSpace(path, "root/other").rc, CMPI_RC_OK);
    EXPECT_EQ(path->ft->setClassName(path, "Test_Other").rc, CMPI_RC_OK);
    EXPECT_EQ(path->ft->setHostname(path, "host").rc, CMPI_RC_OK);
    EXPECT_EQ(scope.read(path), (ObjectPath{"root/other", "Test_Other", {}}));
    EXPECT_EQ(text(path->ft->getHostname(path, nullptr)), "host");
    EXPECT_EQ(path->ft->setClassName(path, nullptr).rc, CMPI_RC_ERR_INVALID_PARAMETER);
}

TEST_F(PathTest, TakesNamespaceAndHostFromAnother) {
    CMPIObjectPath* source = mb->eft->newObjectPath(mb, "root/source", "Test_Source", nullptr);
    source->ft->setHostname(source, "host");
    EXPECT_EQ(path->ft->setNameSpaceFromObjectPath(path, source).rc, CMPI_RC_OK);
    EXPECT_EQ(scope.read(path), (ObjectPath{"root/source", "Test_Class", {}}));
    EXPECT_EQ(text(path->ft->getHostname(path, nullptr)), "");
    EXPECT_EQ(path->ft->setHostAndNameSpaceFromObjectPath(path, source).rc, CMPI_RC_OK);
    EXPECT_EQ(text(path->ft->getHostname(path, nullptr)), "host");
    EXPECT_EQ(path->ft->setNameSpaceFromObjectPath(path, nullptr).rc, CMPI_RC_ERR_INVALID_PARAMETER);
}

TEST_F(PathTest, ReadsCharacterKeysBackAsStringsWithTheKeyState) {
    EXPECT_EQ(path->ft->addKey(path, "Tag", chars("4"), CMPI_chars).rc, CMPI_RC_OK);
    const CMPIData data = key("Tag");
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
    EXPECT_EQ(data.type, CMPI_string);
    EXPECT_EQ(data.state, CMPI_keyValue);
    EXPECT_EQ(text(data), "4");
}

TEST_F(PathTest, CopiesCharacterKeys) {
    std::string tag = "before";
    path->ft->addKey(path, "Tag", chars(tag.c_str()), CMPI_chars);
    tag = "behind";
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

TEST_F(PathTest, FindsKeysInAnyCaseAndKeepsTheFirstSpelling) {
    path->ft->addKey(path, "Tag", chars("first"), CMPI_chars);
    path->ft->addKey(path, "TAG", chars("second"), CMPI_chars);
    EXPECT_EQ(text(key("tag")), "second");
    CMPIString* name = nullptr;
    path->ft->getKeyAt(path, 0, &name, nullptr);
    EXPECT_EQ(text(name), "Tag");
    EXPECT_EQ(path->ft->getKeyCount(path, &rc), 1U);
}

TEST_F(PathTest, AnswersNotFoundForAnUnknownKey) {
    const CMPIData data = key("Nothing");
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(data.type, CMPI_null);
    EXPECT_EQ(data.state, CMPI_notFound);
    EXPECT_EQ(path->ft->getKey(path, "Nothing", nullptr).state, CMPI_notFound);
}

TEST_F(PathTest, ListsKeysInTheOrderInWhichTheyWereAdded) {
    path->ft->addKey(path, "B", chars("1"), CMPI_chars);
    path->ft->addKey(path, "A", chars("2"), CMPI_chars);
    CMPIString* name = nullptr;
    const CMPIData second = path->ft->getKeyAt(path, 1, &name, &rc);
    EXPECT_EQ(text(name), "A");
    EXPECT_EQ(text(second), "2");
    EXPECT_EQ(second.state, CMPI_keyValue);
    EXPECT_EQ(path->ft->getKeyAt(path, 2, &name, &rc).state, CMPI_notFound);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_NOT_FOUND);
    EXPECT_EQ(text(path->ft->getKeyAt(path, 0, nullptr, nullptr)), "1");
}

TEST_F(PathTest, StoresADeepCopyOfAReference) {
    CMPIObjectPath* other = newPath("Test_Other");
    other->ft->addKey(other, "Tag", chars("before"), CMPI_chars);
    CMPIValue value{};
    value.ref = other;
    EXPECT_EQ(path->ft->addKey(path, "Other", &value, CMPI_ref).rc, CMPI_RC_OK);
    other->ft->addKey(other, "Tag", chars("behind"), CMPI_chars);
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
    EXPECT_EQ(path->ft->getKeyCount(path, nullptr), 0U);
}

TEST_F(PathTest, RefusesKeysWithoutNameAndKeysThatAreArrays) {
    EXPECT_EQ(path->ft->addKey(path, nullptr, chars("x"), CMPI_chars).rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(path->ft->addKey(path, "", chars("x"), CMPI_chars).rc, CMPI_RC_ERR_INVALID_PARAMETER);
    EXPECT_EQ(path->ft->addKey(path, "Many", nullptr, CMPI_uint8A).rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
    EXPECT_EQ(path->ft->addKey(path, "When", nullptr, CMPI_dateTime).rc, CMPI_RC_ERR_INVALID_DATA_TYPE);
    EXPECT_EQ(path->ft->getKeyCount(path, nullptr), 0U);
}

TEST_F(PathTest, HasATextForm) {
    path->ft->addKey(path, "Tag", chars("4"), CMPI_chars);
    EXPECT_EQ(text(path->ft->toString(path, &rc)), "root/kavix:Test_Class.Tag=\"4\"");
    EXPECT_EQ(rc.rc, CMPI_RC_OK);
}

TEST_F(PathTest, KnowsNoQualifiers) {
    EXPECT_EQ(path->ft->getClassQualifier(path, "Key", &rc).state, CMPI_notFound);
    EXPECT_EQ(rc.rc, CMPI_RC_ERR_NOT_SUPPORTED);
    EXPECT_EQ(path->ft->getPropertyQualifier(path, "Tag", "Key", &rc).state, CMPI_notFound);
    EXPECT_EQ(path->ft->getMethodQualifier(path, "Start", "Static", nullptr).state, CMPI_notFound);
    EXPECT_EQ(path->ft->getParameterQualifier(path, "Start", "Mode", "In", nullptr).state, CMPI_notFound);
}

TEST_F(PathTest, ClonesIndependentlyAndCountsTheClone) {
    path->ft->addKey(path, "Tag", chars("4"), CMPI_chars);
    const std::size_t made = broker.objectsMade();
    CMPIObjectPath* clone = path->ft->clone(path, &rc);
    EXPECT_EQ(broker.objectsMade(), made + 1);
    path->ft->addKey(path, "Tag", chars("5"), CMPI_chars);
    EXPECT_EQ(toString(scope.read(clone)), "root/kavix:Test_Class.Tag=\"4\"");
    const std::size_t freed = broker.objectsFreed();
    EXPECT_EQ(clone->ft->release(clone).rc, CMPI_RC_OK);
    EXPECT_EQ(broker.objectsFreed(), freed + 1);
}

TEST_F(PathTest, RefusesToReleaseWhatTheObjectManagerOwns) {
    EXPECT_EQ(path->ft->release(path).rc, CMPI_RC_ERR_FAILED);
    EXPECT_EQ(text(path->ft->getClassName(path, nullptr)), "Test_Class");
}
