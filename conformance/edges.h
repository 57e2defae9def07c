#ifndef EDGES_H
#define EDGES_H

#include <korvininspect/packageclass.h>

#include <QtCore/QByteArray>
#include <QtCore/QStringList>

#include <vector>

/// @file
/// The values of each kind of field that implementations often get wrong: the ends of every range
/// and the numbers beyond, every spelling of a number, every name of a code and words like it, and
/// texts of every width.

/// Returns values to encode that a field of the class accepts.
std::vector<QJsonValue> valueEdges(const KorvinInspect::PackageClass &ofClass,
                                   const KorvinInspect::PackageField &field);

/// Returns columns to decode, including some that no encoder writes.
QStringList columnEdges(const KorvinInspect::PackageClass &ofClass,
                        const KorvinInspect::PackageField &field);

/// Returns integers to decode, as the bytes of a frame; the width is 1, 2 or 4.
const std::vector<QByteArray> &byteEdges(int width);

/// A length and the data that it stands for, which need not agree.
struct DataEdge
{
    int length;
    QByteArray data;
};

/// Returns data to encode in every form that defines the result.
const std::vector<DataEdge> &dataEdges();

/// The two columns of data: its length and its numbers.
struct DataColumnsEdge
{
    const char *length;
    QString numbers;
};

/// Returns data columns that agree.
const std::vector<DataColumnsEdge> &agreeingDataColumns();

/// Returns data columns that do not agree; most decoders refuse them.
const std::vector<DataColumnsEdge> &disagreeingDataColumns();

/// Returns the entry that a field takes in a round. A field takes every entry in as many
/// rounds as there are entries; neighbouring fields take different ones, and short lists do not
/// keep step with others.
template <typename List>
const auto &turn(const List &list, int round, int field)
{
    const auto size = static_cast<int>(list.size());
    using Index = decltype(list.size());
    return list[static_cast<Index>((round + field + round / size) % size)];
}

#endif
