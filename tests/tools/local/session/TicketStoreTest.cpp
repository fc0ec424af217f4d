#include <tools/local/session/TicketStore.h>
#include <tools/local/session/UserTable.h>

#include <gtest/gtest.h>

namespace lithmar::local {
namespace {

using namespace std::chrono_literals;

class TicketStoreTest : public ::testing::Test {
protected:
    TicketStore::Options options(std::size_t maxTickets = 100)
    {
        TicketStore::Options o;
        o.lifetime = 60s;
        o.maxTickets = maxTickets;
        o.now = [this] { return now; };
        return o;
    }

    TicketStore::Clock::time_point now{};
};

TEST_F(TicketStoreTest, TicketBelongsToItsUserUntilItExpires)
{
    TicketStore tickets(options());
    const std::string ticket = tickets.issue("ada");
    EXPECT_NE(ticket, tickets.issue("ada")) << "every ticket is new";
    EXPECT_EQ(ticket.find('='), std::string::npos);
    EXPECT_TRUE(tickets.check("ada", ticket));
    EXPECT_TRUE(tickets.check("ada", ticket)) << "shown again, as a reconnecting client does";
    EXPECT_FALSE(tickets.check("bob", ticket));
    EXPECT_FALSE(tickets.check("ada", ticket + "0"));
    EXPECT_FALSE(tickets.check("LOCAL_USER", "LOCAL_TICKET")) << "platform mode has no local ticket";

    now += 60s;
    EXPECT_FALSE(tickets.check("ada", ticket));
    EXPECT_EQ(tickets.lookup(ticket).state, TicketStore::State::Expired);
    EXPECT_EQ(tickets.lookup(ticket).user, "ada");
    EXPECT_EQ(tickets.lookup("ST-never").state, TicketStore::State::Unknown);
}

TEST_F(TicketStoreTest, OldTicketsAreForgottenBeyondTheCapAndAfterASecondLifetime)
{
    TicketStore tickets(options(2));
    const std::string first = tickets.issue("a");
    const std::string second = tickets.issue("a");
    const std::string third = tickets.issue("a");
    EXPECT_EQ(tickets.lookup(first).state, TicketStore::State::Unknown);
    EXPECT_TRUE(tickets.check("a", second));
    now += 125s;
    tickets.issue("a");
    EXPECT_EQ(tickets.lookup(third).state, TicketStore::State::Unknown);
}

TEST_F(TicketStoreTest, LocalInstallationAcceptsExactlyTheLocalTicket)
{
    auto o = options();
    o.acceptLocalTicket = true;
    TicketStore tickets(o);
    EXPECT_TRUE(tickets.check("LOCAL_USER", "LOCAL_TICKET"));
    EXPECT_FALSE(tickets.check("LOCAL_USER", "local_ticket"));
    EXPECT_FALSE(tickets.check("ada", "LOCAL_TICKET"));
}

TEST(UserTableTest, VerifiesPasswordsOfKnownUsersOnly)
{
    UserTable users(1000);
    EXPECT_TRUE(users.add({"ada", "pass:word"}));
    EXPECT_TRUE(users.verify("ada", "pass:word"));
    EXPECT_FALSE(users.verify("ada", "pass:wore"));
    EXPECT_FALSE(users.verify("ada", ""));
    EXPECT_FALSE(users.verify("nobody", "pass:word"));
    EXPECT_FALSE(users.add({"ada", "new"})) << "a known user gets a new password";
    EXPECT_TRUE(users.verify("ada", "new"));
    EXPECT_FALSE(users.verify("ada", "pass:word"));
}

TEST(UserTableTest, CredentialsAreNameColonPasswordWithAPlainName)
{
    const auto user = parseUserCredentials("ada.l@example-1:pa:ss");
    EXPECT_EQ(user.name, "ada.l@example-1");
    EXPECT_EQ(user.password, "pa:ss");
    for (const char* bad : {"ada", ":pw", "ada:", "a b:pw", "ad\xc3\xa9:pw", "a/b:pw"}) {
        SCOPED_TRACE(bad);
        EXPECT_THROW(parseUserCredentials(bad), std::invalid_argument);
    }
    EXPECT_THROW(parseUserCredentials(std::string(65, 'a') + ":pw"), std::invalid_argument);
}

} // namespace
} // namespace lithmar::local
