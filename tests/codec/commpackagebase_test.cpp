#include "testsupport.h"

#include <commpackagebase.h>

namespace {

TEST(CommPackageBase, Defaults)
{
    const CommPackageBase slice;
    EXPECT_EQ(slice.getSpareBytes(), QByteArray());
    EXPECT_EQ(slice.getSpareLength(), 0);
    EXPECT_EQ(slice.getFrameSlice(), QByteArray());
    EXPECT_EQ(slice.getSliceLength(), 0);
    EXPECT_EQ(slice.getCheckStatus(), 1);
    EXPECT_EQ(slice.getSpareWord(), 0U);
}

TEST(CommPackageBase, SettersChain)
{
    CommPackageBase slice;
    EXPECT_EQ(&slice.setSpareBytes(hex("01"))
                   .setSpareLength(2)
                   .setFrameSlice(hex("03"))
                   .setSliceLength(4)
                   .setCheckStatus(5)
                   .setSpareWord(0xFFFFFFFFFFFFFFFFU),
              &slice);
    EXPECT_EQ(slice.getSpareBytes(), hex("01"));
    EXPECT_EQ(slice.getSpareLength(), 2);
    EXPECT_EQ(slice.getFrameSlice(), hex("03"));
    EXPECT_EQ(slice.getSliceLength(), 4);
    EXPECT_EQ(slice.getCheckStatus(), 5);
    EXPECT_EQ(slice.getSpareWord(), 0xFFFFFFFFFFFFFFFFU);
}

TEST(CommPackageBase, CopyAndAssignment)
{
    QObject parent;
    CommPackageBase source;
    source.setParent(&parent);
    source.setSpareBytes(hex("01")).setSpareLength(2).setFrameSlice(hex("03"));
    source.setSliceLength(4).setCheckStatus(5).setSpareWord(6);
    const CommPackageBase copy(source);
    CommPackageBase target;
    EXPECT_EQ(&(target = source), &target);
    for (const CommPackageBase *other : {&copy, static_cast<const CommPackageBase *>(&target)}) {
        EXPECT_EQ(other->getSpareBytes(), hex("01"));
        EXPECT_EQ(other->getSpareLength(), 2);
        EXPECT_EQ(other->getFrameSlice(), hex("03"));
        EXPECT_EQ(other->getSliceLength(), 4);
        EXPECT_EQ(other->getCheckStatus(), 5);
        EXPECT_EQ(other->getSpareWord(), 6U);
        EXPECT_EQ(other->parent(), nullptr);
    }
}

struct SliceRow
{
    const char *frame;
    int start;
    int length;
    const char *slice;
    int status;
};

const SliceRow SliceRows[] = {
    {"55 AA 01 56 55", 0, 5, "55 AA 01 56 55", 1},
    {"FF 55 AA 01 56 55 FF", 1, 5, "55 AA 01 56 55", 1},
    {"55 AA 01 57 55", 0, 5, "55 AA 01 57 55", 2},
    {"55 AA 01 56", 0, 5, "55 AA 01 56", 2}, // the frame ends first
    {"55 AA", 9, 5, "", 2},
    {"", 0, 0, "", 2},
    {"55 AA 01 56 55", 2, -1, "01 56 55", 2}, // a negative length takes the rest
};

TEST(CommPackageBase, TakesAndChecksASlice)
{
    for (const SliceRow &row : SliceRows) {
        SCOPED_TRACE(testing::Message()
                     << row.frame << " at " << row.start << ", length " << row.length);
        const CommPackageBase slice(hex(row.frame), row.start, row.length);
        EXPECT_EQ(slice.getFrameSlice(), hex(row.slice));
        EXPECT_EQ(slice.getSliceLength(), row.length);
        EXPECT_EQ(slice.getCheckStatus(), row.status);
        EXPECT_EQ(slice.getSpareBytes(), QByteArray());
        EXPECT_EQ(slice.getSpareLength(), 0);
        EXPECT_EQ(slice.getSpareWord(), 0U);
    }
}

TEST(CommPackageBase, HooksReadNothing)
{
    CommPackageBase slice;
    int index = 7;
    EXPECT_FALSE(slice.parseRequest(hex("00"), 0, &index));
    EXPECT_FALSE(slice.parseReply(hex("00"), 0, &index));
    EXPECT_EQ(index, 7);
}

TEST(CommPackageBase, ChecksumIsThatOfPackageBase)
{
    CommPackageBase slice;
    const QByteArray data = hex("55 AA 01 FF 55 56");
    for (int start = -2; start < 8; ++start) {
        for (int length = -2; length < 8; ++length) {
            int expected = 0;
            int revise = 0;
            PackageBase::calcRevise(data, start, length, &expected);
            slice.calcRevise(data, start, length, &revise);
            EXPECT_EQ(revise, expected);
            EXPECT_EQ(slice.ReviseOk(data, start, length),
                      PackageBase::ReviseOk(data, start, length));
        }
    }
    EXPECT_TRUE(slice.ReviseOk(data, 0, 6));
}

TEST(CommPackageBase, ASubclassCanReplaceTheSum)
{
    class OtherSum : public CommPackageBase
    {
    public:
        void calcRevise(QByteArray, int start, int length, int *revise) override
        {
            EXPECT_EQ(start, 2);
            EXPECT_EQ(length, 1);
            *revise = 0x31234;
        }
    };
    OtherSum slice;
    EXPECT_TRUE(slice.ReviseOk(hex("55 AA 01 34 12"), 0, 5));
    EXPECT_FALSE(slice.ReviseOk(hex("55 AA 01 56 55"), 0, 5));
}

TEST(CommPackageBase, TheSumOfAFrameWithoutABodyIsAskedForTooWithANegativeLength)
{
    class Asked : public CommPackageBase
    {
    public:
        void calcRevise(QByteArray, int start, int length, int *revise) override
        {
            EXPECT_EQ(start, 2);
            EXPECT_EQ(length, -1);
            *revise = 0x34AA;
        }
    };
    Asked slice;
    EXPECT_TRUE(slice.ReviseOk(hex("55 AA 34"), 0, 3));
}

TEST(CommPackageBase, MetaObject)
{
    const QMetaObject &meta = CommPackageBase::staticMetaObject;
    EXPECT_STREQ(meta.className(), "CommPackageBase");
    EXPECT_EQ(meta.superClass(), &QObject::staticMetaObject);
    EXPECT_EQ(meta.methodCount(), meta.methodOffset());
    EXPECT_EQ(meta.propertyCount(), meta.propertyOffset());
}

} // namespace
