#include "ZMessages/ZMessage.h"

#include <gtest/gtest.h>

#include "ZMessages/ZGenericResponseMsg.h"
#include "ZMessages/ZJSONCommStream.h"
#include "ZShared/ZFactory.h"

namespace {

ZCommEndpoint Endpoint(const char* uid, ZEndpointType type, const char* name) {
    return ZCommEndpoint(ZNodeUID(uid), type, name);
}

TEST(ZMessageTest, DefaultsOfTheBase) {
    ZMessage sut;
    EXPECT_EQ(sut.m_priority, 5000);
    EXPECT_EQ(sut.GetDefaultPriority(), 5000);
    EXPECT_FALSE(sut.IsCloneable());
    EXPECT_TRUE(sut.ResolvePaths({}));
    EXPECT_EQ(sut.GetDeliveryInfo(), 0);
    EXPECT_FALSE(sut.GetResponseRequested());
    EXPECT_FALSE(sut.GetNotification());
    EXPECT_EQ(sut.GetSource().m_type, EP_NULL);
}

TEST(ZMessageTest, AnswersAndProgressGoBackToTheSender) {
    ZGenericResponseMsg sut;
    ZCommEndpoint source = Endpoint("NM1", EP_CONTROL, "addnode");
    source.m_qos = 1;
    sut.SetSource(source);

    const ZCommEndpoint response = sut.GetResponseEndpoint();
    const ZCommEndpoint progress = sut.GetProgressEndpoint();

    EXPECT_EQ(response, Endpoint("NM1", EP_RESPONSE, "addnode"));
    EXPECT_EQ(response.m_qos, 0);
    EXPECT_EQ(progress, Endpoint("NM1", EP_PROGRESS, "ZGenericResponseMsg"));
}

TEST(ZMessageTest, CloneDataMembersCopiesTheSharedFieldsButNotThePriority) {
    ZMessage sut;
    sut.SetEndpoint(Endpoint("D", EP_CONTROL, "locking"));
    sut.SetSource(Endpoint("N", EP_CONTROL, "locking"));
    sut.SetSequence(17);
    sut.SetDeliveryInfo(3);
    sut.SetResponseRequested(true);
    sut.SetNotification(true);
    sut.m_priority = 50;
    std::shared_ptr<ZMessage> target = ZMakeShared<ZMessage>();

    EXPECT_TRUE(sut.CloneDataMembers(target));

    EXPECT_EQ(target->GetEndpoint(), sut.GetEndpoint());
    EXPECT_EQ(target->GetSource(), sut.GetSource());
    EXPECT_EQ(target->GetSequence(), 17u);
    EXPECT_EQ(target->GetDeliveryInfo(), 3);
    EXPECT_TRUE(target->GetResponseRequested());
    EXPECT_TRUE(target->GetNotification());
    EXPECT_EQ(target->m_priority, 5000);
    std::shared_ptr<ZMessage> none;
    EXPECT_FALSE(sut.CloneDataMembers(none));
}

TEST(ZMessageTest, CopiesAndClonesOfAMessageWithDefaultFieldsResetTheTarget) {
    ZMessage fresh;
    fresh.SetSource(ZCommEndpoint());  // a default changes nothing
    fresh.SetSequence(0);
    std::shared_ptr<ZMessage> target = ZMakeShared<ZMessage>();
    target->SetSource(Endpoint("N", EP_CONTROL, "locking"));
    target->SetSequence(4);
    target->SetNotification(true);
    ZMessage assigned;
    assigned.SetEndpoint(Endpoint("D", EP_STATUS, "x"));
    assigned.SetDeliveryInfo(2);

    EXPECT_TRUE(fresh.CloneDataMembers(target));
    assigned = fresh;

    for (const ZMessage* message :
         {static_cast<const ZMessage*>(target.get()), static_cast<const ZMessage*>(&assigned)}) {
        EXPECT_EQ(message->GetSource(), ZCommEndpoint());
        EXPECT_EQ(message->GetEndpoint(), ZCommEndpoint());
        EXPECT_EQ(message->GetSequence(), 0u);
        EXPECT_EQ(message->GetDeliveryInfo(), 0);
        EXPECT_FALSE(message->GetNotification());
    }
}

TEST(ZMessageTest, MovingTakesTheFields) {
    ZMessage original;
    original.SetSource(Endpoint("N", EP_CONTROL, "locking"));
    original.SetResponseRequested(true);

    ZMessage moved(std::move(original));
    ZMessage assigned;
    assigned.SetSequence(9);
    assigned = std::move(moved);

    EXPECT_EQ(assigned.GetSource(), Endpoint("N", EP_CONTROL, "locking"));
    EXPECT_TRUE(assigned.GetResponseRequested());
    EXPECT_EQ(assigned.GetSequence(), 0u);
}

TEST(ZMessageTest, CopiesTakeTheFieldsAndHaveTheirOwnLock) {
    ZGenericResponseMsg original("Lock", true);
    original.SetSource(Endpoint("N", EP_CONTROL, "locking"));
    original.m_priority = 50;
    std::lock_guard<std::mutex> held(original.m_mutex);

    ZGenericResponseMsg copy = [&] {
        original.m_mutex.unlock();  // the copy locks the source while it reads
        ZGenericResponseMsg made(original);
        original.m_mutex.lock();
        return made;
    }();

    EXPECT_TRUE(copy.m_mutex.try_lock());  // not the original's, which is held
    copy.m_mutex.unlock();
    EXPECT_EQ(copy.GetSource(), Endpoint("N", EP_CONTROL, "locking"));
    EXPECT_EQ(copy.m_priority, 50);
    EXPECT_EQ(copy.m_text, "Lock");
}

TEST(ZMessageTest, EnvelopeCarriesSenderFlagsAndBody) {
    ZGenericResponseMsg sut("done", true);
    sut.SetSource(Endpoint("D", EP_RESPONSE, "addplugin"));
    sut.SetResponseRequested(true);
    auto stream = ZMakeShared<ZJSONCommStream>();

    ASSERT_TRUE(sut.SerializeMessage(stream));

    ZString className, source;
    bool requested = false, notification = true;
    std::int32_t priority = 0, deliveryInfo = -1;
    EXPECT_TRUE(stream->Deserialize("class", className));
    EXPECT_TRUE(stream->Deserialize("source", source));
    EXPECT_TRUE(stream->Deserialize("responseRequested", requested));
    EXPECT_TRUE(stream->Deserialize("notification", notification));
    EXPECT_TRUE(stream->Deserialize("priority", priority));
    EXPECT_TRUE(stream->Deserialize("deliveryInfo", deliveryInfo));
    EXPECT_EQ(className, "ZGenericResponseMsg");
    EXPECT_EQ(source, "response/D/addplugin");
    EXPECT_TRUE(requested);
    EXPECT_FALSE(notification);
    EXPECT_EQ(priority, 5000);
    EXPECT_EQ(deliveryInfo, 0);
    std::shared_ptr<ZCommStream> body = stream->CreateChild();
    ASSERT_TRUE(stream->DeserializeChild("body", body));
    ZGenericResponseMsg read;
    read.Deserialize(body);
    EXPECT_EQ(read.m_text, "done");
    EXPECT_TRUE(read.m_bSuccess);
}

TEST(ZMessageTest, SavesAndLoadsItselfAsAFile) {
    const std::string path = ::testing::TempDir() + "/zmessage-save.json";
    ZGenericResponseMsg saved("saved text", true, ZFrameworkErrorCodes::ERRCODE_SYSUPDATE_IN_SHUTDOWN);
    ASSERT_TRUE(saved.Save(path.c_str(), ZMakeShared<ZJSONCommStream>()));
    ZGenericResponseMsg sut;

    EXPECT_TRUE(sut.Load(path.c_str()));

    EXPECT_EQ(sut.m_text, "saved text");
    EXPECT_TRUE(sut.m_bSuccess);
    EXPECT_EQ(sut.m_errCode, ZFrameworkErrorCodes::ERRCODE_SYSUPDATE_IN_SHUTDOWN);
    ZMessage other;
    EXPECT_FALSE(other.Load(path.c_str()));  // the file holds another class
    EXPECT_FALSE(sut.Load((path + ".missing").c_str()));
}

}  // namespace
