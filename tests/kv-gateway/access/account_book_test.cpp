// SPDX-License-Identifier: MIT
// The copy of the accounts in memory, when the file behind it cannot be read.
#include "access/account_book.h"

#include "store/fake_clock.h"

#include <gtest/gtest.h>

#include <QFile>

namespace kvgateway
{
namespace
{

class AccountBookTest : public testing::Test
{
protected:
    void SetUp() override
    {
        book = open();
        other = open();
        QString problem;
        ASSERT_TRUE(other->add({"anna", Role::Operator, at(0)}, "hash", problem)) << problem.toStdString();
        ASSERT_TRUE(other->addToken({{"grafana", Role::Viewer, at(0), {}}, "of grafana"}, problem))
            << problem.toStdString();
        ASSERT_TRUE(book->account("anna"));
    }
    std::unique_ptr<AccountBook> open() const
    {
        QString problem;
        auto opened = AccountBook::open(folder.path(), problem);
        EXPECT_NE(opened, nullptr) << problem.toStdString();
        return opened;
    }
    // \return what was there
    QByteArray overwriteHead(const QByteArray &head) const
    {
        QFile file(folder.path() + "/access.sqlite");
        EXPECT_TRUE(file.open(QIODevice::ReadWrite));
        const QByteArray before = file.read(head.size());
        EXPECT_TRUE(file.seek(0));
        EXPECT_EQ(file.write(head), head.size());
        return before;
    }

    QTemporaryDir folder;
    std::unique_ptr<AccountBook> book, other; // as of two processes
};

TEST_F(AccountBookTest, KeepsWhatItHasWhileTheFileCannotBeRead)
{
    const QByteArray head = overwriteHead(QByteArray(100, 'x'));
    EXPECT_TRUE(book->account("anna"));
    EXPECT_TRUE(book->tokenOf("of grafana"));
    QString problem;
    EXPECT_FALSE(book->remove("anna", problem));
    EXPECT_NE(problem, "") << "a change that fails is not silent";
    EXPECT_TRUE(book->account("anna"));
    EXPECT_EQ(book->users().size(), 1u);
    EXPECT_EQ(book->tokens().size(), 1u);

    overwriteHead(head);
    ASSERT_TRUE(other->add({"bert", Role::Viewer, at(0)}, "hash", problem)) << problem.toStdString();
    EXPECT_TRUE(book->account("bert")) << "read again once it can be read";
    ASSERT_TRUE(other->remove("anna", problem)) << problem.toStdString();
    EXPECT_FALSE(book->account("anna"));
    EXPECT_TRUE(book->tokenOf("of grafana"));
}

TEST_F(AccountBookTest, WhatCouldNotBeReadIsReadOnceItCan)
{
    QString problem;
    ASSERT_TRUE(other->remove("anna", problem)) << problem.toStdString();
    const QByteArray head = overwriteHead(QByteArray(100, 'x'));
    EXPECT_TRUE(book->account("anna")) << "nobody could tell it yet";
    overwriteHead(head);
    EXPECT_FALSE(book->account("anna"));
}

} // namespace
} // namespace kvgateway
