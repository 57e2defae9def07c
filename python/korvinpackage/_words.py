"""Messages that say what they are: they begin with the words for form and class."""

from __future__ import annotations

from korvinpackage import _classes
from korvinpackage._enums import Form
from korvinpackage._packages import PackageRequestCombination

_FORMS = {form.name.lower().encode(): form for form in Form}
_CLASSES = {name.encode(): name for name in [*_classes.__all__, PackageRequestCombination.class_name]}


def pack(form: Form, class_name: str, message: bytes) -> bytes:
    """Return a message with its words."""
    return b"%b %b %b" % (form.name.lower().encode(), class_name.encode(), message)


def unpack(message: bytes) -> tuple[Form, str, bytes] | None:
    """Return form, class and the message itself; None if it does not begin with the words."""
    words = message.split(b" ", 2)
    if len(words) != 3 or words[0] not in _FORMS or words[1] not in _CLASSES:
        return None
    return _FORMS[words[0]], _CLASSES[words[1]], words[2]
