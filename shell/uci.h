// The UCI session: what the engine speaks for the rest of the run when the first line it reads is
// exactly "uci". The xboard path never enters it.
#pragma once

// Answers the "uci" that started the session, then reads and acts on commands until quit.
[[noreturn]] void UciLoop();
