#include "messagesource.h"

MessageSource::~MessageSource() = default;
