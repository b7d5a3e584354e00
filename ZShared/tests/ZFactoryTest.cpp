#include "ZShared/ZFactory.h"

#include <gtest/gtest.h>

#include "ZShared/CID.h"
#include "ZShared/ZLog.h"
#include "ZTestKit/ZCapturingLogSink.h"

namespace {

class ZTestShape : public ZShared::ZFactoryObject {
    Z_FACTORY_CLASS(ZTestShape)

public:
    virtual int Corners() const = 0;
};

class ZTestSquare : public ZTestShape {
    Z_FACTORY_CLASS(ZTestSquare)

public:
    explicit ZTestSquare(const std::string& name) : m_name(name) { ++m_live; }
    ~ZTestSquare() override { --m_live; }
    int Corners() const override { return 4; }
    std::string m_name;
    static inline int m_live = 0;
};

class ZTestSelfAware : public ZShared::ZFactoryObject, public std::enable_shared_from_this<ZTestSelfAware> {
    Z_FACTORY_CLASS(ZTestSelfAware)
};

class ZTestUnrelated : public ZShared::ZFactoryObject {
    Z_FACTORY_CLASS(ZTestUnrelated)
};

class ZFactoryTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        ZClassRegistration<ZTestSquare>::Register("ZTestShape");  // derived first: base linked later
        ZClassRegistration<ZTestShape>::Register("ZFactoryObject");
        ZClassRegistration<ZTestSelfAware>::Register("ZFactoryObject");
        ZClassRegistration<ZTestUnrelated>::Register("ZFactoryObject");
    }
};

TEST_F(ZFactoryTest, ClassChecksFollowBaseNamesWhateverTheRegistrationOrder) {
    using ZShared::CID::IsKindOf;
    EXPECT_TRUE(IsKindOf(ZTestShape::m_cid, ZTestSquare::m_cid));
    EXPECT_TRUE(IsKindOf(ZFactoryObject::m_cid, ZTestSquare::m_cid));
    EXPECT_TRUE(IsKindOf(ZTestSquare::m_cid, ZTestSquare::m_cid));
    EXPECT_FALSE(IsKindOf(ZTestSquare::m_cid, ZTestShape::m_cid));
    EXPECT_FALSE(IsKindOf(ZTestUnrelated::m_cid, ZTestSquare::m_cid));
    EXPECT_FALSE(IsKindOf(0, ZTestSquare::m_cid));
    EXPECT_FALSE(IsKindOf(ZTestSquare::m_cid, 0));

    const std::string why = ZShared::CID::GetIsKindOfDebugString(ZTestUnrelated::m_cid, ZTestSquare::m_cid);
    EXPECT_NE(why.find("ZTestSquare -> ZTestShape -> ZFactoryObject"), std::string::npos) << why;
    EXPECT_NE(why.find("ZTestUnrelated"), std::string::npos) << why;
}

TEST_F(ZFactoryTest, CreatesByNameInAllThreeForms) {
    const std::int64_t before = g_SBA.BytesInUse();
    {
        std::unique_ptr<ZFactoryObject> plain(ZShared::ZFactory::Create("ZTestSquare", "first"));
        ASSERT_NE(plain, nullptr);
        EXPECT_EQ(dynamic_cast<ZTestSquare&>(*plain).m_name, "first");
        EXPECT_EQ(g_SBA.BytesInUse(), before);  // plain objects come from operator new

        auto unique = ZShared::ZFactory::CreateUnique("ZTestSquare");
        ASSERT_NE(unique, nullptr);
        EXPECT_EQ(dynamic_cast<ZTestSquare&>(*unique).m_name, "ZTestSquare");  // name defaults to the class
        EXPECT_GE(g_SBA.BytesInUse(), before + static_cast<std::int64_t>(sizeof(ZTestSquare)));

        auto shared = ZShared::ZFactory::CreateShared("ZTestSquare", "third");
        ASSERT_NE(shared, nullptr);
        EXPECT_STREQ(shared->ClassName(), "ZTestSquare");
        EXPECT_EQ(shared->GetCID(), ZTestSquare::m_cid);
        EXPECT_EQ(ZTestSquare::m_live, 3);
    }
    EXPECT_EQ(ZTestSquare::m_live, 0);  // each destroyed once, through its virtual destructor
    EXPECT_EQ(g_SBA.BytesInUse(), before);
}

TEST_F(ZFactoryTest, UnknownOrAbstractClassGivesNullAndOneLogLine) {
    ZScopedLogCapture capture;

    EXPECT_EQ(ZShared::ZFactory::CreateShared("ZNoSuchClass"), nullptr);
    EXPECT_EQ(ZShared::ZFactory::Create("ZNoSuchClass"), nullptr);
    EXPECT_EQ(ZShared::ZFactory::CreateShared("ZTestShape"), nullptr);
    EXPECT_EQ(ZShared::ZFactory::TryCreateShared("ZNoSuchClass"), nullptr);

    EXPECT_EQ(capture->Count("Unknown class <ZNoSuchClass>", LOGLEVEL_WARNING), 2u);
    EXPECT_EQ(capture->Count("Class <ZTestShape> is abstract", LOGLEVEL_WARNING), 1u);
    EXPECT_EQ(capture->Records().size(), 3u);
}

TEST_F(ZFactoryTest, MakeSharedDirectTracksCreationsAndRefusesOtherClasses) {
    const auto before = ZShared::ZFactory::GetTrackStats("ZTestSquare");

    auto square = ZShared::make_shared_direct<ZTestShape>("ZTestSquare", "here.cpp", 12);
    auto wrong = ZShared::make_shared_direct<ZTestUnrelated>("ZTestSquare", "there.cpp", 34);

    ASSERT_NE(square, nullptr);
    EXPECT_EQ(square->Corners(), 4);
    EXPECT_EQ(wrong, nullptr);
    const auto after = ZShared::ZFactory::GetTrackStats("ZTestSquare");
    EXPECT_EQ(after.created, before.created + 1);
    EXPECT_EQ(after.failed, before.failed + 1);
    EXPECT_EQ(after.lastFile, "there.cpp");
    EXPECT_EQ(after.lastLine, 34);
}

TEST_F(ZFactoryTest, RegistrationIsOncePerClass) {
    const std::uint32_t first = ZTestSquare::m_cid;
    ZScopedLogCapture capture;

    ZClassRegistration<ZTestSquare>::Register("ZFactoryObject");  // guard set: skipped
    const std::uint32_t again =
        ZShared::ZFactory::RegisterObjectCreator("ZTestSquare", "ZFactoryObject", nullptr);  // bypasses the guard

    EXPECT_EQ(ZTestSquare::m_cid, first);
    EXPECT_EQ(again, first);
    EXPECT_EQ(ZShared::ZFactory::GetBaseClassName(first), "ZTestShape");
    EXPECT_EQ(capture->Count("already registered"), 1u);
    EXPECT_NE(ZShared::ZFactory::CreateShared("ZTestSquare"), nullptr);  // first creator kept
}

TEST_F(ZFactoryTest, SharedObjectsCanHandOutPointersToThemselves) {
    auto made = ZShared::ZFactory::CreateShared("ZTestSelfAware");
    auto self = std::dynamic_pointer_cast<ZTestSelfAware>(made);
    ASSERT_NE(self, nullptr);

    auto again = self->shared_from_this();

    EXPECT_EQ(again.get(), self.get());
    EXPECT_EQ(made.use_count(), 3);  // one control block for all three
}

TEST_F(ZFactoryTest, ListsClassesInRegistrationOrder) {
    const auto names = ZShared::ZFactory::GetClassNames();
    ASSERT_FALSE(names.empty());
    EXPECT_EQ(names.front(), "ZFactoryObject");
    const auto square = std::find(names.begin(), names.end(), "ZTestSquare");
    const auto shape = std::find(names.begin(), names.end(), "ZTestShape");
    ASSERT_NE(square, names.end());
    EXPECT_LT(square, shape);
}

}  // namespace
