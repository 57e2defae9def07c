#ifndef EDGES_H
#define EDGES_H

#include <korvininspect/packageclass.h>

#include <QtCore/QByteArray>
#include <QtCore/QStringList>

#include <vector>

/// @file
/// The values of each kind of field that implementations get wrong: the ends of every range and
/// what lies beyond them, every spelling of a number, every name of a code and what looks like one,
/// texts of every width.

/// Values to encode: those that a field of the class takes.
std::vector<QJsonValue> valueEdges(const KorvinInspect::PackageClass &ofClass,
                                   const KorvinInspect::PackageField &field);

/// Columns to decode: what an encoder writes, and what it does not.
QStringList columnEdges(const KorvinInspect::PackageClass &ofClass,
                        const KorvinInspect::PackageField &field);

/// Integers to decode, as the bytes of a frame; for a width of 1, 2 or 4 bytes.
const std::vector<QByteArray> &byteEdges(int width);

/// A length and the data that it stands for, which need not agree.
struct DataEdge
{
    int length;
    QByteArray data;
};

/// Data to encode, in every form that says what comes of it.
const std::vector<DataEdge> &dataEdges();

/// The two columns of data: its length and its numbers.
struct DataColumnsEdge
{
    const char *length;
    QString numbers;
};

/// Data columns that agree.
const std::vector<DataColumnsEdge> &agreeingDataColumns();

/// Data columns that do not: most readers refuse them.
const std::vector<DataColumnsEdge> &disagreeingDataColumns();

/// Picks the entry of a list that is a field's turn in a round. Every entry has its turn in as many
/// rounds as there are entries; neighbours differ, and short lists do not keep step with others.
template <typename List>
const auto &turn(const List &list, int round, int field)
{
    const auto size = static_cast<int>(list.size());
    using Index = decltype(list.size());
    return list[static_cast<Index>((round + field + round / size) % size)];
}

#endif
