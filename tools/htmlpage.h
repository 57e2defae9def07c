#ifndef HTMLPAGE_H
#define HTMLPAGE_H

#include <korvininspect/messageshape.h>
#include <korvininspect/packagecheck.h>
#include <korvininspect/packageexplain.h>

#include <QtCore/QByteArray>
#include <QtCore/QVector>

/// Returns an explained frame or record as one HTML page: its verdict, a map of its bytes or
/// characters, and a table of its fields. Pointing at map or table highlights the field in both.
///
/// The page loads no other files, and @p input is always escaped. The page shows the beginning of
/// large input and says how much follows.
///
/// @param input is the frame, or the record in UTF-8.
/// @param fields and @p verdict are those of explain() and check(); the page marks where the fault
/// is.
/// @param guess says why the input may have this shape; empty if the shape is not a guess.
QByteArray htmlPage(const QByteArray &input, const KorvinInspect::MessageShape &shape,
                    const QVector<KorvinInspect::ExplainedField> &fields,
                    const KorvinInspect::Verdict &verdict, const QString &guess = {});

#endif
