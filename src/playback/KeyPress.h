#pragma once

#include <optional>
#include <string>

namespace ostinel {

// A key-down as the cue commands see it, free of any toolkit's event type.
struct KeyPress {
    enum class Key {
        other,
        character, // a plain character key, named by `characters`
        space,
        returnKey,
        keypadEnter,
        escape,
        up,
        down,
        deleteBackward,
        deleteForward,
    };

    Key key = Key::other;
    // The characters ignoring modifiers, letters in lower case.
    std::string characters;
    bool command = false; // Ctrl on Linux
    bool shift = false;
    bool option = false; // Alt
    bool control = false;
    // Typing into a field never triggers a command.
    bool textFieldFocused = false;

    std::optional<int> digit() const {
        if (characters.size() == 1 && characters[0] >= '0' && characters[0] <= '9')
            return characters[0] - '0';
        return std::nullopt;
    }
};

} // namespace ostinel
