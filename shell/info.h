// The texts a user can ask for at the prompt: version banner, help and about.
#pragma once

// "Ostrel" and the version, two lines.
void PrintVersionBanner();

// The command-line help, in three pages with a wait for Enter between them. Its mistakes
// (-pgnsouce, the hash range, the defaults, -buildbook's argument) are the published text and
// stay as they are. The caller writes the banner after it.
void PrintHelpText();

// Program, installation and opening-book notes, three pages. The caller writes the banner after it.
void PrintAboutText();
