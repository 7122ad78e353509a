#pragma once
// The node kinds of the QuorlCode editor, all nested in QuorlCodeEditor::Editor: the base classes
// and every family. Each family's header declares its kinds; its .cpp of the same name defines them.
#include "game/QuorlCodeCodeNodes.h"
#include "game/QuorlCodeFunctionNodes.h"
#include "game/QuorlCodeIoNodes.h"
#include "game/QuorlCodeNodeBase.h"
#include "game/QuorlCodeValueNodes.h"
