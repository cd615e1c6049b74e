#include "host/hello/hello_proof.h"

#include "tests/support/qt_text.h"

#include <gmock/gmock.h>

#include <set>

using namespace VESK::Host;
using namespace VESK::Test;

namespace
{

const QStringList said = {"hello of the client"_s, "hello of the server"_s};
const QStringList nonces = {"one"_s, "other"_s};

class HelloProofTest : public testing::Test
{
protected:
    const Token m_token = Token::random();
    const Token m_otherToken = Token::random();
};

TEST_F(HelloProofTest, HoldsForTheSameTokenRoleAndWords)
{
    EXPECT_TRUE(isProof(m_token, Role::Client, said, makeProof(m_token, Role::Client, said)));
    EXPECT_TRUE(isProof(m_token, Role::Server, said, makeProof(m_token, Role::Server, said)));
}

TEST_F(HelloProofTest, DoesNotHoldForAnotherToken)
{
    EXPECT_FALSE(isProof(m_otherToken, Role::Client, said, makeProof(m_token, Role::Client, said)));
}

TEST_F(HelloProofTest, DoesNotHoldInTheOtherRole)
{
    EXPECT_FALSE(isProof(m_token, Role::Client, said, makeProof(m_token, Role::Server, said)));
    EXPECT_FALSE(isProof(m_token, Role::Server, said, makeProof(m_token, Role::Client, said)));
}

TEST_F(HelloProofTest, DoesNotHoldForOtherWords)
{
    const QString proof = makeProof(m_token, Role::Client, {"ab"_s, "c"_s});
    EXPECT_TRUE(isProof(m_token, Role::Client, {"ab"_s, "c"_s}, proof));
    EXPECT_FALSE(isProof(m_token, Role::Client, {"a"_s, "bc"_s}, proof)); // the same when joined
    EXPECT_FALSE(isProof(m_token, Role::Client, {"abc"_s}, proof));
    EXPECT_FALSE(isProof(m_token, Role::Client, {"c"_s, "ab"_s}, proof));
    EXPECT_FALSE(isProof(m_token, Role::Client, {"ab"_s, "c"_s, QString()}, proof));
}

TEST_F(HelloProofTest, DoesNotHoldWithAnyCharacterChanged)
{
    const QString proof = makeProof(m_token, Role::Server, said);
    for (int i = 0; i < proof.size(); ++i) {
        QString changed = proof;
        changed[i] = changed[i] == QLatin1Char('A') ? QLatin1Char('B') : QLatin1Char('A');
        EXPECT_FALSE(isProof(m_token, Role::Server, said, changed)) << i;
    }
}

TEST_F(HelloProofTest, DoesNotHoldCutOrLengthened)
{
    const QString proof = makeProof(m_token, Role::Server, said);
    for (const QString &wrong : {QString(), proof.left(proof.size() - 1), proof + "A"_s, proof + proof,
                                 "not base64 at all! ........................."_s})
        EXPECT_FALSE(isProof(m_token, Role::Server, said, wrong)) << qPrintable(wrong);
}

TEST(NonceTest, IsNewEachTime)
{
    std::set<QString> seen;
    for (int i = 0; i < 100; ++i)
        seen.insert(newNonce());
    EXPECT_EQ(seen.size(), 100U);
    EXPECT_TRUE(isNonce(*seen.begin()));
}

TEST(NonceTest, HasOneLength)
{
    const QString nonce = newNonce();
    EXPECT_FALSE(isNonce(QString()));
    EXPECT_FALSE(isNonce(nonce.left(nonce.size() - 2)));
    EXPECT_FALSE(isNonce(nonce + "AA"_s));
}

TEST_F(HelloProofTest, SealedTextOpensForThoseWhoKnowTheToken)
{
    const QString plain = "incoming=rw\nGrüße=r"_s;
    const QString sealed = seal(m_token, nonces, plain);
    EXPECT_FALSE(
        QByteArray::fromBase64(sealed.toLatin1(), QByteArray::Base64UrlEncoding).contains("incoming"));
    EXPECT_EQ(unseal(m_token, nonces, sealed), plain);
    EXPECT_EQ(unseal(m_otherToken, nonces, sealed), std::nullopt);
    EXPECT_EQ(unseal(m_token, {"one"_s, "another"_s}, sealed), std::nullopt);
}

TEST_F(HelloProofTest, SealedTextDoesNotOpenAltered)
{
    const QString sealed = seal(m_token, nonces, "text"_s);
    for (int i = 0; i < sealed.size() - 1; ++i) { // of the last character some bits may mean nothing
        QString changed = sealed;
        changed[i] = changed[i] == QLatin1Char('A') ? QLatin1Char('B') : QLatin1Char('A');
        EXPECT_EQ(unseal(m_token, nonces, changed), std::nullopt) << i;
    }
    EXPECT_EQ(unseal(m_token, nonces, sealed.left(20)), std::nullopt);
    EXPECT_EQ(unseal(m_token, nonces, QString()), std::nullopt);
}

} // namespace
