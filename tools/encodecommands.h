#ifndef ENCODECOMMANDS_H
#define ENCODECOMMANDS_H

#include "commandline.h"

#include <korvininspect/packageforms.h>

extern const Command EncodeCommand;
extern const Command CombineCommand;

/// Adds the options for class, form and direction.
void addEncodingOptions(CommandLine &line);

/// Returns form and direction as the options say.
KorvinInspect::Encoding encodingOf(const CommandLine &line);

/// Ends the program if the class has no such form.
void failUnlessPossible(const KorvinInspect::PackageClass &packageClass,
                        const KorvinInspect::Encoding &encoding, const QString &origin);

/// Ends the program for input that is refused. @p origin names the input in the message.
void failUnlessOk(const KorvinInspect::Verdict &verdict, const QString &origin);

#endif
