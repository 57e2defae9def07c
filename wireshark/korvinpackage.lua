-- Wireshark dissector of the packages: byte frames, text records and Linux frames over TCP and UDP.
-- docs/wireshark.md says how to use it. The parts of each class, and the fields of frames and records, are
-- in korvinpackage_layouts.lua, which is generated from the rows and layouts of the library.

local directory = debug.getinfo(1, "S").source:match("^@(.*[/\\])") or ""
local layouts = dofile(directory .. "korvinpackage_layouts.lua")

local LARGEST_MESSAGE = 1024 * 1024
local MOST_COLUMNS = 32 -- more than any class has
local MOST_ITEMS = 1000
local COMBINATION = "PackageRequestCombination"

local class_of_type = {}
for name, class in pairs(layouts.classes) do
    if class.typeWord then
        class_of_type[class.typeWord] = name
    end
end

-- The meaning of each verb. Everything else about a field is in its step.

local codes_of = {
    access = layouts.codes.access,
    rawAccess = layouts.codes.access,
    kind = layouts.codes.kind,
    readKind = layouts.codes.kind,
    writeKind = layouts.codes.kind,
    commResult = layouts.codes.commResult,
    packageResult = layouts.codes.packageResult,
}

local code_of_name = {}
for verb, names in pairs(codes_of) do
    code_of_name[verb] = {}
    for code, name in pairs(names) do
        code_of_name[verb][name] = code
    end
end

local is_length = { length = true, shortLength = true, clampedLength = true, textLength = true }
local is_in_bytes = { offset = true, textSize = true }
for verb in pairs(is_length) do
    is_in_bytes[verb] = true
end
local is_access = { access = true, rawAccess = true }
local is_kind = { kind = true, readKind = true, writeKind = true }
local is_serial = { serial = true, shortSerial = true }
local is_word = { access = true, readKind = true, writeKind = true, commResult = true,
    packageResult = true, flag = true }

-- Verbs of the same kind of field, which may refer to the same field of a package.
local kind_of = { clampedLength = "length" }

-- Words for what is unusual about a field.

local function bytes_in_words(count)
    return count == 1 and "1 byte" or string.format("%d bytes", count)
end

-- Returns the length of the UTF-8 character at a position, or nil.
local function utf8_length(text, position)
    local first = text:byte(position)
    if first < 0x80 then
        return 1
    end
    local length = first >= 0xF0 and 4 or first >= 0xE0 and 3 or 2
    if first < 0xC2 or first > 0xF4 then
        return nil
    end
    for i = 1, length - 1 do
        local byte = text:byte(position + i)
        if not byte or byte < 0x80 or byte > 0xBF then
            return nil
        end
    end
    local second = text:byte(position + 1)
    if (first == 0xE0 and second < 0xA0) or (first == 0xED and second > 0x9F)
        or (first == 0xF0 and second < 0x90) or (first == 0xF4 and second > 0x8F) then
        return nil
    end
    return length
end

-- Returns the text with U+FFFD for each byte that is not UTF-8, and whether the library accepts it: it
-- drops a leading byte order mark.
local function valid_utf8(text)
    local parts = {}
    local position, start, valid = 1, 1, text:sub(1, 3) ~= "\239\187\191"
    while position <= #text do
        local length = utf8_length(text, position)
        if length then
            position = position + length
        else
            parts[#parts + 1] = text:sub(start, position - 1)
            parts[#parts + 1] = "\239\191\189"
            position = position + 1
            start = position
            valid = false
        end
    end
    parts[#parts + 1] = text:sub(start)
    return table.concat(parts), valid
end

local function quoted(text)
    local start = valid_utf8(text:sub(1, 40):gsub("%c", "."))
    return '"' .. start .. (#text > 40 and "..." or "") .. '"'
end

-- Layouts: each step is a field, or says where the next one is.

local function words_of(text)
    local words = {}
    for word in text:gmatch("%S+") do
        local shared = word:match("^@(%w+)$")
        for _, step in ipairs(shared and words_of(layouts.shared[shared]) or { word }) do
            words[#words + 1] = step
        end
    end
    return words
end

-- Returns the steps from a word on, and the position of the word that ends them.
local function steps_from(words, position)
    local steps = {}
    while words[position] and words[position] ~= "end" and words[position] ~= "otherwise" do
        local word = words[position]
        local step = {
            verb = word:match("^%w+"),
            name = word:match(":(%w+)"),
            column = tonumber(word:match("@(%d+)$")),
            number = tonumber(word:match("=(%d+)")),
            copies = tonumber(word:match("/(%d+)$")),
        }
        if step.verb == "either" then
            step.nonzero, position = steps_from(words, position + 1)
        end
        if step.verb == "either" or step.verb == "tail" then
            step.steps, position = steps_from(words, position + 1)
        end
        steps[#steps + 1] = step
        position = position + 1
    end
    return steps, position
end

for _, class in pairs(layouts.classes) do
    for key, value in pairs(class) do
        if type(value) == "string" and key ~= "typeWord" then
            class[key] = steps_from(words_of(value), 1)
        end
    end
end
layouts.linuxHeader = steps_from(words_of(layouts.linuxHeader), 1)

-- Frames. A scanner gives the fields as the decoders of the library take them, or as the encoders
-- write them: each has a verb, a name, an offset from the beginning of the frame, a width, a value,
-- and perhaps a fault.

local function little_endian(bytes, position, width)
    local value = 0
    for i = width - 1, 0, -1 do
        value = value * 256 + (bytes:byte(position + 1 + i) or 0)
    end
    return value
end

local integers = {
    gap = { width = 1 },
    u8 = { width = 1 },
    s8 = { width = 1, signed = true },
    u16 = { width = 2 },
    i32 = { width = 4, signed = true },
    serial = { width = 2 },
    shortSerial = { width = 1 },
    timeout = { width = 4, signed = true },
    reserved = { width = 1 },
    signedReserved = { width = 1, signed = true },
    ack = { width = 1 },
    length = { width = 4, signed = true },
    shortLength = { width = 2 },
    clampedLength = { width = 4, signed = true },
    textLength = { width = 4, signed = true },
    textSize = { width = 2 },
    offset = { width = 4, signed = true },
    access = { width = 1 },
    rawAccess = { width = 1, signed = true },
    kind = { width = 1 },
    commResult = { width = 1 },
    packageResult = { width = 1 },
    status = { width = 1, signed = true },
    flag = { width = 1 },
    checksum = { width = 2 },
}

local function number_in_frame_fault(verb, number, is_request)
    if codes_of[verb] and not codes_of[verb][number] or verb == "flag" and number > 1 then
        return string.format("unknown code %d", number)
    elseif is_length[verb] and number < 0 then
        return string.format("negative length %d", number)
    elseif verb == "status" and is_request and number ~= 0 then
        return "0 expected in a request"
    end
end

-- Compares a code with the one that a class is for.
local OTHER_ACCESS = "not what the class is for"

local function access_fault(verb, number, only)
    if is_access[verb] and only and number ~= only then
        return OTHER_ACCESS
    end
end

-- Returns the value that a decoder reads for a number.
local function taken(verb, number)
    if verb == "access" then
        return number == 0 and 0 or 1
    elseif verb == "flag" then
        return number == 1
    elseif verb == "clampedLength" then
        return math.max(0, number)
    end
    return number
end

local FrameScanner = {}
FrameScanner.__index = FrameScanner

function FrameScanner.new(bytes, class, is_request, takes_missing)
    return setmetatable({
        bytes = bytes,
        only_access = layouts.classes[class].onlyAccess,
        is_request = is_request,
        takes_missing = takes_missing, -- a field that is not all there takes its bytes nevertheless
        fields = {},
        texts = {}, -- the latest of each name
        last = {}, -- the latest number of each verb
        position = 0,
        number = 0, -- the latest of all, which announces what follows
        is_carried = true, -- an announced block
        tail_end = 0,
    }, FrameScanner)
end

function FrameScanner:advance(count)
    self.position = self.position + count
    if self.position > 0x7FFFFFFF then
        self.position = self.position - 0x100000000
    end
end

function FrameScanner:remaining()
    return math.max(0, #self.bytes - self.position)
end

function FrameScanner:add(verb, name, size)
    local offset = self.position
    if offset < 0 or offset > #self.bytes then
        offset = #self.bytes
    end
    local field = {
        verb = verb,
        name = name,
        offset = offset,
        size = size,
        width = math.min(size, #self.bytes - offset),
    }
    field.missing = size - field.width
    self.fields[#self.fields + 1] = field
    return field
end

function FrameScanner:integer(verb, name)
    local layout = assert(integers[verb], verb)
    local field = self:add(verb, name or "", layout.width)
    local number = 0
    if field.missing == 0 or self.takes_missing then
        number = little_endian(self.bytes, field.offset, layout.width)
        if layout.signed and number >= 256 ^ layout.width / 2 then
            number = number - 256 ^ layout.width
        end
        self:advance(layout.width)
    end
    field.number = number
    field.value = taken(verb, number)
    field.fault = number_in_frame_fault(verb, number, self.is_request)
        or access_fault(verb, number, self.only_access)
    if field.missing > 0 then
        field.fault = string.format("truncated: %s expected, %s left",
            bytes_in_words(layout.width), bytes_in_words(field.width))
        field.width = self.takes_missing and field.width or 0
    end
    self.number = number
    self.last[verb] = number
    return field
end

-- Reads a text or block of the announced size.
function FrameScanner:extent(verb, name, size)
    local field = self:add(verb, name, math.max(0, size))
    if field.missing > 0 then
        field.fault = string.format("announced %s, left %s", bytes_in_words(field.size),
            bytes_in_words(field.width))
    else
        field.raw = self.bytes:sub(field.offset + 1, field.offset + field.size)
    end
    self:advance(field.size)
    return field
end

-- @param is_kept is set if a decoder keeps its text for a size of 0.
function FrameScanner:text(name, size, is_kept)
    local field = self:extent("text", name, size)
    if size > 0 or not is_kept then
        self.texts[name] = ""
    end
    if field.raw and size > 0 then
        local zero = field.raw:find("\0", 1, true)
        local text, valid = valid_utf8(zero and field.raw:sub(1, zero - 1) or field.raw)
        if zero then
            field.fault = "the text contains a zero byte, where a decoder ends it"
        elseif not valid then
            field.fault = "the text is not UTF-8"
        end
        self.texts[name] = text
    end
    field.value = self.texts[name] or ""
end

function FrameScanner:block(name, size)
    local field = self:extent("block", name, size)
    field.value = field.raw
    return field
end

local frame_verbs = {}

function frame_verbs.constant(scanner, step)
    local field = scanner:add("constant", step.name, 1)
    local expected = scanner.marker or step.number
    field.value = scanner.bytes:byte(field.offset + 1) or 0
    if field.missing > 0 then
        field.fault = "truncated: 1 byte expected, 0 bytes left"
    elseif field.value ~= expected then
        field.fault = string.format("0x%X expected", expected)
    end
    scanner:advance(1)
end

function frame_verbs.sizedText(scanner, step)
    scanner:text(step.name, scanner:integer("textSize", step.name .. "Size").number)
end

function frame_verbs.uncountedText(scanner, step)
    local size = scanner:integer("textSize", step.name .. "Size").number
    local start = scanner.position
    scanner:text(step.name, size, true)
    scanner.position = start
end

function frame_verbs.keptText(scanner, step)
    scanner:text(step.name, scanner.number, true)
end

-- A text that only encoders write. It ends before the tail.
function frame_verbs.text(scanner, step)
    scanner:text(step.name, math.max(0, scanner.tail_end - scanner.position))
end

function frame_verbs.block(scanner, step)
    scanner:block(step.name, scanner.number)
end

function frame_verbs.uncountedBlock(scanner, step)
    local start = scanner.position
    scanner:block(step.name, scanner.number)
    scanner.position = start
end

function frame_verbs.announcedBlock(scanner, step)
    if not scanner.is_carried then
        return
    end
    local field = scanner:block(step.name, scanner.number)
    field.is_announced = field.missing > 0 and field.width == 0
end

function frame_verbs.announce(scanner, step)
    scanner.is_carried = scanner:remaining() > step.number
end

function frame_verbs.tail(scanner, step)
    local size = math.floor((scanner:remaining() - step.number) / step.copies)
    if size > 0 then
        scanner.tail_end = scanner.position + size
        scanner:run(step.steps)
    end
end

function frame_verbs.either(scanner, step)
    local is_there = scanner:remaining() >= 4
    local is_zero = not is_there or little_endian(scanner.bytes, scanner.position, 4) == 0
    scanner:run(is_zero and step.steps or step.nonzero)
end

function frame_verbs.at(scanner, step)
    scanner.position = step.number
end

function FrameScanner:run(steps)
    for _, step in ipairs(steps) do
        local walk = frame_verbs[step.verb]
        if walk then
            walk(self, step)
        else
            self:integer(step.verb, step.name)
        end
    end
end

-- Returns the fields sorted by offset; those of the same offset keep their order.
local function by_offset(fields)
    local places = {}
    for i, field in ipairs(fields) do
        places[field] = i
    end
    table.sort(fields, function(a, b)
        if a.offset ~= b.offset then
            return a.offset < b.offset
        end
        return places[a] < places[b]
    end)
    return fields
end

-- Adds a nameless field for all bytes that no other field covers.
local function add_unread(fields, size)
    local complete, reached = {}, 0
    local function unread(offset)
        if offset > reached then
            complete[#complete + 1] = {
                name = "",
                offset = reached,
                width = offset - reached,
                fault = string.format("trailing %s", bytes_in_words(offset - reached)),
            }
        end
    end
    for _, field in ipairs(by_offset(fields)) do
        unread(field.offset)
        complete[#complete + 1] = field
        reached = math.max(reached, field.offset + field.width)
    end
    unread(size)
    return complete
end

-- Messages that are cut in the capture. They are read at their full length, with zeros for the missing
-- bytes; fields with missing bytes are not judged.

local captured -- as many bytes of the message as the capture has; nil for all of them

local CUT = "cut by the capture"

local function is_cut(field)
    return captured ~= nil and field.offset + math.max(field.size or field.width, 1) > captured
end

-- Cuts the fields to the bytes that the capture has.
local function as_captured(scanned)
    local kept = {}
    for _, field in ipairs(scanned.fields) do
        if is_cut(field) then
            field.is_cut, field.fault = true, nil
            field.width = math.min(field.width, captured - field.offset)
        end
        if not field.is_cut or field.offset < captured then
            kept[#kept + 1] = field
        end
    end
    scanned.fields = kept
    for _, item in ipairs(scanned.items or {}) do
        item.width = math.min(item.width, captured - item.offset)
        as_captured(item)
    end
    return scanned
end

local function is_full_reply(bytes, is_request)
    return not is_request and (bytes:byte(1) or 0) ~= 0
end

-- Returns the fields as encoders write them.
local function written_frame(bytes, class, is_request)
    local layout = layouts.classes[class]
    local scanner = FrameScanner.new(bytes, class, is_request)
    if is_request then
        scanner:run(layout.writtenRequest)
    elseif is_full_reply(bytes, is_request) then
        scanner.marker = 1
        scanner:run(layout.writtenFullReply)
    else
        scanner:run(layout.writtenShortReply)
    end
    return scanner.fields
end

-- Returns the place of the first fault for which check refuses the fields; nil for accepted input. The
-- fields must end at @p size.
local function refusal_of(fields, size)
    local seen, reached = {}, 0
    for _, field in ipairs(fields) do
        if is_cut(field) then
            return nil
        end
        if field.verb == "checksum" and reached < field.offset then
            return { position = reached }
        end
        local key = (kind_of[field.verb] or field.verb) .. " " .. field.name
        local earlier = seen[key]
        local differs = earlier and (earlier.number ~= field.number or earlier.raw ~= field.raw)
        if field.fault or differs then
            return { position = field.column or field.offset }
        end
        if field.verb ~= "constant" and field.verb ~= "gap" then
            seen[key] = earlier or field
        end
        reached = math.max(reached, field.offset + field.size)
    end
    if reached < size then
        return { position = reached }
    end
end

-- Returns the name of a field that encoders write and decoders do not read.
local function written_at(bytes, class, is_request, place)
    local fields = written_frame(bytes, class, is_request)
    if refusal_of(fields, #bytes) then
        return nil
    end
    for _, field in ipairs(fields) do
        if place.offset < field.offset + field.width then
            return field.name
        end
    end
end

local FULL_REPLY = "from here on as decoders read it; encoders write a full reply in another way"

local function scan_frame(bytes, class, is_request)
    local layout = layouts.classes[class]
    local scanner = FrameScanner.new(bytes, class, is_request)
    local is_full = is_full_reply(bytes, is_request)
    scanner.marker = is_full and 1 or nil
    scanner:run((is_request or is_full) and layout.request or layout.shortReply)
    if is_full then
        -- What an encoder writes after the request reads back as something else.
        local first = #scanner.fields + 1
        scanner:run(layout.endOfFullReply)
        scanner.fields[first].note = FULL_REPLY
        for i = first, #scanner.fields do
            scanner.fields[i].fault = nil
        end
    end
    local fields = add_unread(scanner.fields, #bytes)
    for _, field in ipairs(fields) do
        local written = is_request and field.name == ""
            and written_at(bytes, class, is_request, field)
        if field.is_announced and is_request then
            field.fault = nil
            field.note = "a request announces the data that its reply is to bring"
        elseif written then
            field.note = "not read; an encoder writes " .. written .. " here"
        end
        if written or field.name == "" and is_full then
            field.fault = nil
        end
    end
    return { fields = fields, full = is_full }
end

-- Returns the fields of a Linux frame, which decoders read as encoders write them.
local function linux_fields(bytes, class, is_request)
    local scanner = FrameScanner.new(bytes, class, is_request, true)
    scanner:run(layouts.linuxHeader)
    local length = scanner.last.shortLength
    local checksum = math.max(0, #bytes - 2)
    if length > 0 and (not is_request or scanner.last.rawAccess ~= 0) then
        -- The data ends at the checksum at the latest.
        local data = FrameScanner.new(bytes:sub(1, checksum), class)
        data.position = scanner.position
        local field = data:block("data", length)
        field.value = bytes:sub(field.offset + 1, field.offset + field.width)
        if layouts.classes[class].padsLinuxData then
            field.value = field.value .. string.rep("\0", field.missing)
        end
        scanner.fields[#scanner.fields + 1] = field
    end
    scanner.position = checksum
    local sum = 0x5555
    for position = 3, checksum do
        sum = sum + bytes:byte(position)
    end
    sum = sum % 0x10000
    local field = scanner:integer("checksum", "checksum")
    field.checksum_ok = field.value == sum
    field.fault = field.fault
        or not field.checksum_ok and string.format("wrong checksum: 0x%04X expected", sum) or nil
    return scanner.fields
end

local function scan_linux(bytes, class, is_request)
    return { fields = add_unread(linux_fields(bytes, class, is_request), #bytes) }
end

-- Records.

-- Returns the parts of a text; if there are more than the most, the last one is the rest.
local function split(text, separator, offset, most)
    local parts = {}
    local position = 1
    while true do
        local found = #parts + 1 ~= most and text:find(separator, position, true)
        parts[#parts + 1] = {
            text = text:sub(position, (found or #text + 1) - 1),
            offset = offset + position - 1,
        }
        if not found then
            return parts
        end
        position = found + 1
    end
end

-- Returns the length of a text in UTF-16, in which the library counts.
local function utf16_length(text)
    local _, inner = text:gsub("[\128-\191]", "")
    local _, surrogates = text:gsub("[\240-\244]", "")
    return #text - inner + surrogates
end

local function count_of(text, separator)
    return select(2, text:gsub("%" .. separator, "")) + 1
end

-- Returns the number of a column as decoders parse it: 0 for any other text, and out of the range.
local function parsed(text, low, high)
    local sign, digits = text:match("^[ \t\n\v\f\r]*([+-]?)(%d+)[ \t\n\v\f\r]*$")
    if not digits then
        return 0
    end
    local value = tonumber(digits)
    value = sign == "-" and -value or value
    return value >= low and value <= high and value or 0
end

local MIN_INT, MAX_INT, MAX_UINT = -0x80000000, 0x7FFFFFFF, 0xFFFFFFFF

local function int32(text)
    return parsed(text, MIN_INT, MAX_INT)
end

local function uint32(text)
    return parsed(text, 0, MAX_UINT)
end

local function number_fault(text, low, high)
    local value = text:match("^-?[1-9]%d*$") or text:match("^0$")
    if not value then
        return string.format("not a number: %s", quoted(text))
    elseif tonumber(value) < low or tonumber(value) > high then
        return string.format("out of range: a number from %d to %d expected, %s found", low, high,
            quoted(text))
    end
end

-- Returns the value of a column, and what is wrong with it.
local columns = {}

function columns.u8(text)
    return uint32(text) % 0x100, number_fault(text, 0, 255)
end

function columns.u16(text)
    return uint32(text) % 0x10000, number_fault(text, 0, 65535)
end

function columns.i32(text)
    return int32(text), number_fault(text, MIN_INT, MAX_INT)
end

columns.timeout = columns.i32
columns.offset = columns.i32

function columns.length(text)
    return int32(text), number_fault(text, 0, MAX_INT)
end

columns.serial = columns.length
columns.ack = columns.length

function columns.reserved(text)
    local value = uint32(text)
    return value > MAX_INT and value - 0x100000000 or value, number_fault(text, 0, MAX_INT)
end

columns.unsignedTimeout = columns.reserved

function columns.text(text)
    return (valid_utf8(text))
end

columns.answer = columns.text

function columns.escaped(text)
    local key = text:gsub("%*#%*", ","):gsub("#%*#", "/")
    return (valid_utf8(key)), text:find("/", 1, true) and "a / that is not escaped" or nil
end

function columns.flag(text)
    local known = text == "true" or text == "false"
    return text == "true", not known and "unknown word " .. quoted(text) or nil
end

for verb, fallback in pairs { access = 1, readKind = 2, writeKind = 0, commResult = 1,
    packageResult = 0 } do
    columns[verb] = function(text)
        local code = code_of_name[verb][text]
        return code or fallback, not code and "unknown word " .. quoted(text) or nil
    end
end

local function data_string(text, length, count)
    local found = count_of(text, "/")
    count = count or found
    local fault = count ~= length and string.format("%d numbers announced, %d found", length, count)
        or nil
    if length > found then
        return nil, fault
    end
    local bytes = {}
    for number in (text .. "/"):gmatch("([^/]*)/") do
        if #bytes >= length then
            break
        end
        bytes[#bytes + 1] = string.char(int32(number) % 256)
        fault = fault or number_fault(number, 0, 255)
    end
    return table.concat(bytes), fault
end

function columns.dataString(text, length)
    return data_string(text, length)
end

function columns.dataStringOrNone(text, length)
    return data_string(text, length, text == "" and 0 or nil)
end

-- Returns the fields of the steps whose column is there.
local function column_fields(parts, class, steps)
    local fields, number = {}, 0
    for _, step in ipairs(steps) do
        local part = parts[step.column + 1]
        if part then
            local value, fault = assert(columns[step.verb], step.verb)(part.text, number)
            number = type(value) == "number" and value or number
            fields[#fields + 1] = {
                verb = step.verb,
                name = step.name,
                column = step.column,
                offset = part.offset,
                size = #part.text,
                width = #part.text,
                text = part.text,
                value = value,
                number = type(value) == "number" and value or nil,
                fault = fault
                    or access_fault(step.verb, value, layouts.classes[class].onlyAccess),
            }
        end
    end
    return fields
end

local function written_steps(class, is_request)
    local layout = layouts.classes[class]
    return is_request and layout.requestRecord or layout.writtenReplyRecord
end

-- Returns the name of the field that an encoder writes into each column, and the number of columns.
local function written_columns(class, is_request)
    local names, count = {}, 0
    for _, step in ipairs(written_steps(class, is_request)) do
        names[step.column] = step.name
        count = count + 1
    end
    return names, count
end

-- Adds a note to each field in whose column an encoder writes another field.
local function note_other_columns(fields, written)
    for _, field in ipairs(fields) do
        local name = written[field.column]
        if name and name ~= field.name then
            field.fault = nil
            field.note = "an encoder writes " .. name .. " here"
        end
    end
end

-- Appends the columns that no decoder reads, up to the last one.
local function add_unread_columns(fields, parts, written, last)
    local is_read = {}
    for _, field in ipairs(fields) do
        is_read[field.column] = true
    end
    for column = 0, math.min(last, #parts - 1) do
        local name = written[column]
        if not is_read[column] then
            fields[#fields + 1] = {
                name = "",
                column = column,
                offset = parts[column + 1].offset,
                width = #parts[column + 1].text,
                fault = not name and "no encoder writes this column" or nil,
                note = name and "not read; an encoder writes " .. name .. " here" or nil,
            }
        end
    end
end

-- Appends the columns after the last one, from its part on, as one field.
local function add_columns_after(fields, text, part, last, base)
    local offset = part.offset - (base or 0)
    local count = count_of(text:sub(offset + 1), ",")
    fields[#fields + 1] = {
        name = "",
        column = last + 1,
        offset = part.offset,
        width = #text - offset,
        fault = count == 1 and "a column after the last one"
            or string.format("%d columns after the last one", count),
    }
end

local function scan_record(text, class, is_request, base)
    local layout = layouts.classes[class]
    local parts = split(text, ",", base or 0, MOST_COLUMNS)
    local fields = column_fields(parts, class,
        is_request and layout.requestRecord or layout.replyRecord)
    local written, written_count = written_columns(class, is_request)
    local last = 0
    for column in pairs(written) do
        last = math.max(last, column)
    end
    for _, field in ipairs(fields) do
        last = math.max(last, field.column)
    end
    note_other_columns(fields, written)
    add_unread_columns(fields, parts, written, last)
    if parts[last + 2] then
        add_columns_after(fields, text, parts[last + 2], last, base)
    end
    -- The encoder of a special request's reply writes fewer columns than its decoder needs.
    local needed = math.min(layout.neededColumns[is_request and "request" or "reply"], written_count)
    return {
        fields = by_offset(fields),
        fault = #parts < needed and not (captured and (base or 0) + #text > captured)
            and string.format("too few columns: %d expected, %d found", needed, #parts) or nil,
    }
end

local function scan_item(part, is_request, is_read)
    local props = split(part.text, "^", part.offset, 3)
    local class = class_of_type[props[1].text]
    local item = { fields = {}, offset = part.offset, width = #part.text }
    local reason = not is_read and "not read"
        or #props ~= 2 and "not two parts with a ^ between them: the decoder stops here"
        or not class and "the decoder refuses the type" or nil
    if reason then
        item.fields[1] = { name = "", offset = part.offset, width = #part.text, fault = reason }
        return item
    end
    local record = scan_record(props[2].text, class, is_request, props[2].offset)
    item.fields = record.fields
    item.fault = record.fault
    item.class = class
    table.insert(item.fields, 1, {
        name = "type",
        offset = part.offset,
        width = #props[1].text,
        value = props[1].text,
    })
    return item
end

-- The items are request records, or reply records if a peer answers with a combination. Items after the
-- most that are shown are one field.
local function scan_combination(text, is_request)
    local items = {}
    local is_read = true
    local parts = split(text, "|", 0, MOST_ITEMS + 1)
    for i = 1, math.min(#parts, MOST_ITEMS) do
        items[i] = scan_item(parts[i], is_request, is_read)
        is_read = items[i].class ~= nil
    end
    local rest = parts[MOST_ITEMS + 1]
    return { items = items, fields = { rest and {
        name = "",
        offset = rest.offset,
        width = #rest.text,
        note = string.format("%d more items, which are not shown", count_of(rest.text, "|")),
    } } }
end

-- Packages: what a message is, and its fields.

local function scan(bytes, form, class, is_request)
    if form == "linux" then
        return scan_linux(bytes, class, is_request)
    elseif form == "frame" then
        return scan_frame(bytes, class, is_request)
    elseif class == COMBINATION then
        return scan_combination(bytes, is_request)
    end
    return scan_record(bytes, class, is_request)
end

-- Returns the verdict of korvinpack check on a message, and the fields that encoders write.

local function check_record(text, class, is_request)
    local parts = split(text, ",", 0, MOST_COLUMNS)
    local steps = written_steps(class, is_request)
    local needed = layouts.classes[class].neededColumns[is_request and "request" or "reply"]
    if #parts < needed and not captured or #parts > #steps then
        local expected = #parts < needed and needed or #steps
        return { has_other_columns = true, position = math.min(expected, #parts) }, {}
    end
    local fields = column_fields(parts, class, steps)
    return refusal_of(fields, 0), fields
end

local function check_combination(text)
    local i = 0
    for item in (text .. "|"):gmatch("([^|]*)|") do
        i = i + 1
        local props = split(item, "^", 0, 3)
        local class = class_of_type[props[1].text]
        local refusal
        if #props ~= 2 then
            refusal = { has_other_columns = true, position = math.min(2, #props) }
        elseif not class then
            refusal = { position = 0 }
        else
            refusal = check_record(props[2].text, class, true)
        end
        if refusal then
            refusal.item = i
            return refusal
        end
    end
end

local function check(bytes, form, class, is_request)
    if form == "frame" then
        local fields = written_frame(bytes, class, is_request)
        return refusal_of(fields, #bytes), fields
    elseif form == "linux" then
        if #bytes < 20 then
            return { position = #bytes }, {}
        end
        local fields = linux_fields(bytes, class, is_request)
        return refusal_of(fields, 0), fields
    end
    local _, is_valid = valid_utf8(captured and bytes:match("^(.*),") or bytes)
    if not is_valid then
        return { position = 0 }, {}
    elseif class == COMBINATION then
        return check_combination(bytes), {}
    end
    return check_record(bytes, class, is_request)
end

-- Counts the codes that are usual for the class.
local function usual_codes(fields, class)
    local count = 0
    for _, field in ipairs(fields) do
        local layout = layouts.classes[class]
        local is_usual = is_access[field.verb] and field.number == layout.usualAccess
            or is_kind[field.verb] and field.number == layout.usualKind
        if is_usual and not is_cut(field) then
            count = count + 1
        end
    end
    return count
end

-- What is refused is weighed as korvininspect/disagreement.cpp does it, which says what each number means.

local UNUSUAL, VALUE, NO_WORD, ACCESS, BYTES, COLUMN, GAP = 1, 4, 2, 5, 2, 5, 4
local MOST_MISSING, MOST_TRAILING, MOST_OF_ITEM, MOST_SHIFTED = 4, 12, 8, 4096

local function first_letter(text)
    local first = (text or ""):match("^%a")
    return first and first:lower()
end

-- Returns what a word without a meaning weighs in addition.
local function weight_of_word(field, class)
    if not field.column or not is_word[field.verb] then
        return 0
    elseif not first_letter(field.text) then
        return NO_WORD
    end
    local usual = layouts.codes.kind[class.usualKind]
    return is_kind[field.verb] and first_letter(field.text) ~= first_letter(usual) and UNUSUAL or 0
end

local function is_unusual(field, class, is_request)
    return is_kind[field.verb] and field.number ~= class.usualKind
        or is_access[field.verb] and field.number ~= class.usualAccess
        or field.verb == "block" and is_request and class.usualAccess == 0
end

-- Returns a function that weighs one field after the other.
local function field_weigher(name, is_request)
    local class, seen = layouts.classes[name], {}
    return function(field)
        if field.fault == OTHER_ACCESS then
            return ACCESS
        elseif field.fault then
            return VALUE + weight_of_word(field, class)
        end
        local key = (kind_of[field.verb] or field.verb) .. " " .. field.name
        local first = seen[key]
        if first and (first.number ~= field.number or first.raw ~= field.raw) then
            return VALUE
        elseif field.verb ~= "constant" and field.verb ~= "gap" then
            seen[key] = first or field
        end
        return is_unusual(field, class, is_request) and UNUSUAL or 0
    end
end

local function sum_of(weights)
    local sum = 0
    for _, weight in ipairs(weights) do
        sum = sum + weight
    end
    return sum
end

-- Returns the least weight of a message that lacks something, or has something too much, at one place.
local function weight_around(is_missing, before, after)
    local weight = sum_of(after)
    local least = weight
    for i = 1, #after do
        weight = weight - after[i]
        if is_missing then
            least = math.min(least, weight + math.max(0, after[i] - VALUE))
        end
        if not before[i] then
            break
        end
        weight = weight + before[i]
        least = math.min(least, weight)
    end
    return least
end

local function weight_of_count(count, most)
    return count > 0 and BYTES + math.min(most, count) or 0
end

-- Returns the weights of the fields of a frame, those of the fields before the first one that is cut off,
-- and that of the size.
local function frame_weights(bytes, form, class, is_request)
    local fields = form == "frame" and written_frame(bytes, class, is_request)
        or linux_fields(bytes, class, is_request)
    local weigh = field_weigher(class, is_request)
    local weights, whole, reached, missing, trailing = {}, nil, 0, 0, 0
    for i, field in ipairs(fields) do
        if field.verb == "checksum" then
            trailing = math.max(0, field.offset - reached)
        end
        local is_short = field.missing > 0 and not is_cut(field)
        if is_short then
            whole = whole or { table.unpack(weights) }
            missing = missing + field.missing
        end
        weights[i] = (is_short or is_cut(field)) and 0 or weigh(field)
        reached = math.max(reached, field.offset + field.size)
    end
    if form == "frame" then
        trailing = math.max(0, #bytes - reached)
    end
    return weights, whole or weights,
        weight_of_count(missing, MOST_MISSING) + weight_of_count(trailing, MOST_TRAILING)
end

-- Returns where a frame that is shifted by a byte still agrees.
local function first_shifted(bytes, form, is_request)
    local FIRST_TEXT = 3
    if form == "linux" then
        return 2
    elseif not is_request and (bytes:byte(1) or 0) == 0 then
        return 1
    end
    local function size_at(place)
        return place + 2 <= #bytes and little_endian(bytes, place, 2) or 0
    end
    local tag = FIRST_TEXT + size_at(1)
    local numbers = tag + 2 + size_at(tag)
    return numbers < #bytes and numbers or FIRST_TEXT
end

local function weight_of_frame(bytes, form, class, is_request)
    local weights, whole, of_size = frame_weights(bytes, form, class, is_request)
    local weight = sum_of(weights) + of_size
    if #bytes > MOST_SHIFTED or weight <= GAP then
        return weight
    end
    local first = first_shifted(bytes, form, is_request)
    for _, is_missing in ipairs { true, false } do
        local shifted = bytes:sub(1, first) .. (is_missing and "\1" or "")
            .. bytes:sub(is_missing and first + 1 or first + 2)
        local after, _, size = frame_weights(shifted, form, class, is_request)
        weight = math.min(weight, GAP + size + weight_around(is_missing, whole, after))
    end
    return weight
end

local function weight_of_bytes(bytes, form, class, is_request)
    local weight = weight_of_frame(bytes, form, class, is_request)
    if form == "frame" and not is_request and (bytes:byte(1) or 0) > 1 then
        local short = "\0" .. bytes:sub(2)
        return math.min(weight, VALUE + weight_of_frame(short, form, class, is_request))
    end
    return weight
end

local function column_weights(text, class, is_request)
    local steps = written_steps(class, is_request)
    local weigh = field_weigher(class, is_request)
    local weights = {}
    for i = 1, #steps do
        weights[i] = 0
    end
    for _, field in ipairs(column_fields(split(text, ",", 0, MOST_COLUMNS), class, steps)) do
        weights[field.column + 1] = weigh(field)
    end
    return weights
end

local function weight_of_record(text, class, is_request)
    local written = #written_steps(class, is_request)
    local missing = written - count_of(text, ",")
    local weight = COLUMN * math.abs(missing)
    if layouts.classes[class].neededColumns[is_request and "request" or "reply"] > written then
        weight = weight + VALUE
    end
    local plain = column_weights(text, class, is_request)
    if math.abs(missing) ~= 1 or utf16_length(text) > MOST_SHIFTED then
        return weight + sum_of(plain)
    end
    local shifted = missing > 0 and "," .. text or text:sub((text:find(",", 1, true) or 0) + 1)
    return weight + weight_around(missing > 0, plain, column_weights(shifted, class, is_request))
end

local function weight_of_text(text, class, is_request)
    if class ~= COMBINATION then
        local has_items = text:find("^", 1, true)
        return weight_of_record(text, class, is_request) + (has_items and VALUE or 0)
    end
    local weight = 0
    for item in (text .. "|"):gmatch("([^|]*)|") do
        local word, record = item:match("^([^^]*)%^(.*)$")
        local of_item = class_of_type[word or ""]
        if of_item then
            weight = weight + math.min(MOST_OF_ITEM, weight_of_record(record, of_item, true))
        else
            weight = weight + ((word or ""):match("^%a+$") and VALUE or MOST_OF_ITEM)
        end
    end
    return weight
end

local function disagreement(bytes, form, class, is_request)
    if form == "text" then
        return weight_of_text(bytes, class, is_request)
    end
    return weight_of_bytes(bytes, form, class, is_request)
end

local function has_form(class, form)
    if class == COMBINATION then
        return form == "text"
    end
    return layouts.classes[class] ~= nil and (form ~= "linux" or layouts.classes[class].linux)
end

-- Returns the first class with the least of what a function counts; nil counts as no class.
local function least(classes, count)
    local best, lowest
    for _, class in ipairs(classes) do
        local number = count(class)
        if number and (not lowest or number < lowest) then
            best, lowest = class, number
        end
    end
    return best
end

-- Returns the class that fits a message best, and whether the message is accepted for it: the one whose
-- codes are the usual ones, or of a message that is refused, the one that disagrees least.
local function guess_class(bytes, form, is_request)
    local classes = {}
    for _, class in ipairs(layouts.order) do
        if has_form(class, form) then
            classes[#classes + 1] = class
        end
    end
    if bytes:find("^", 1, true) and form == "text" then
        if not is_request then
            -- The library does not read these: what begins with a type is taken for one.
            return COMBINATION, class_of_type[bytes:match("^[^^]*")] ~= nil
        end
        classes[#classes + 1] = COMBINATION
    end
    local accepted = least(classes, function(class)
        local refusal, fields = check(bytes, form, class, is_request)
        return not refusal and -usual_codes(fields, class) or nil
    end)
    return accepted or least(classes, function(class)
        return disagreement(bytes, form, class, is_request)
    end), accepted ~= nil
end

-- Returns whether one of the two start bytes is that of a Linux frame, and the checksum matches.
local function is_nearly_linux(bytes)
    if #bytes < 20 or bytes:byte(1) ~= 0x55 and bytes:byte(2) ~= 0xAA then
        return false
    end
    local sum = 0x5555
    for position = 3, #bytes - 2 do
        sum = sum + bytes:byte(position)
    end
    return sum % 0x10000 == little_endian(bytes, #bytes - 2, 2)
end

-- Returns the form by the first bytes. Input that looks like a frame is a record if it fits as one,
-- since a text may hold zero bytes.
local function form_of(bytes, is_request)
    if bytes:sub(1, 2) == "\x55\xAA" then
        return "linux"
    end
    local has_separators = bytes:find("[,^]") ~= nil
    local is_text = has_separators and not bytes:find("\0", 1, true) and bytes:byte(1) ~= 1
    local function fits(form)
        return select(2, guess_class(bytes, form, is_request))
    end
    if is_nearly_linux(bytes) and not fits(is_text and "text" or "frame") then
        return has_separators and fits("text") and "text" or "linux"
    end
    return (is_text or has_separators and fits("text")) and "text" or "frame"
end

local function serial_field(fields)
    for _, field in ipairs(fields) do
        if is_serial[field.verb] and field.width > 0 and not is_cut(field) then
            return field.number
        end
    end
end

-- Returns the serial number of a message, whatever its class; nil if it carries none.
local function serial_of(bytes, form, is_request)
    if form == "linux" then
        return serial_field(linux_fields(bytes, layouts.order[1], is_request))
    elseif form == "frame" then
        return serial_field(scan_frame(bytes, layouts.order[1], is_request).fields)
    end
    local base = layouts.classes[layouts.order[1]]
    local parts = split(bytes, ",", 0, MOST_COLUMNS)
    if #parts < base.neededColumns.request or bytes:find("^", 1, true) then
        return nil
    end
    return serial_field(column_fields(parts, "PackageBase", base.requestRecord))
end

local function carries_serial(class, form)
    if class == COMBINATION then
        return false
    end
    for _, step in ipairs(layouts.classes[class].requestRecord) do
        if is_serial[step.verb] then
            return true
        end
    end
    return form ~= "text"
end

-- Wireshark: protocols, fields and preferences.

local main = Proto("korvinpackage", "Korvin package")
local fields = {}

-- Makes the field of Wireshark for a field of the protocol.
local function proto_field(name, field)
    local abbreviation = "korvinpackage." .. name
    if field.type == "string" then
        return ProtoField.string(abbreviation, name, base.UNICODE, field.description)
    elseif field.type == "bytes" then
        return ProtoField.bytes(abbreviation, name, base.SPACE, field.description)
    elseif field.type == "bool" then
        return ProtoField.bool(abbreviation, name, base.NONE, nil, 0, field.description)
    end
    local display = field.type == "uint16" and base.HEX or base.DEC
    local codes = field.codes and layouts.codes[field.codes]
    return ProtoField[field.type](abbreviation, name, display, codes, 0, field.description)
end

for name, field in pairs(layouts.fields) do
    fields[name] = proto_field(name, field)
end
fields.data_string = ProtoField.string("korvinpackage.data_string", "data string", base.UNICODE,
    "data as numbers joined by /")
fields.unread = ProtoField.bytes("korvinpackage.unread", "not read", base.SPACE,
    "what no decoder reads")
fields.class = ProtoField.string("korvinpackage.class", "class")
fields.form = ProtoField.string("korvinpackage.form", "form")
fields.direction = ProtoField.string("korvinpackage.direction", "direction")
fields.label = ProtoField.string("korvinpackage.label", "label", base.UNICODE,
    "form and class, before the message")
fields.length = ProtoField.uint32("korvinpackage.length", "message length", base.DEC, nil, 0,
    "bytes of the message")
fields.checksum_status = ProtoField.uint8("korvinpackage.checksum.status", "checksum status",
    base.DEC, { [0] = "bad", [1] = "good" })
fields.response_in = ProtoField.framenum("korvinpackage.response_in", "reply in", base.NONE,
    frametype.RESPONSE)
fields.response_to = ProtoField.framenum("korvinpackage.response_to", "request in", base.NONE,
    frametype.REQUEST)
fields.response_time = ProtoField.relative_time("korvinpackage.response_time", "response time")

local field_list = {}
for _, field in pairs(fields) do
    field_list[#field_list + 1] = field
end
main.fields = field_list

local experts = {
    malformed = ProtoExpert.new("korvinpackage.malformed", "malformed", expert.group.MALFORMED,
        expert.severity.ERROR),
    checksum = ProtoExpert.new("korvinpackage.checksum.bad", "wrong checksum",
        expert.group.CHECKSUM, expert.severity.ERROR),
    note = ProtoExpert.new("korvinpackage.note", "not as it is written", expert.group.PROTOCOL,
        expert.severity.NOTE),
    cut = ProtoExpert.new("korvinpackage.cut", CUT, expert.group.UNDECODED, expert.severity.NOTE),
    failure = ProtoExpert.new("korvinpackage.failure", "the request has failed",
        expert.group.RESPONSE_CODE, expert.severity.NOTE),
}
main.experts = { experts.malformed, experts.checksum, experts.note, experts.cut,
    experts.failure }

local FORMS = { [1] = "frame", [2] = "text", [3] = "linux" }
local form_words = { frame = "byte frame", text = "text record", linux = "Linux frame" }
local AUTO, REQUESTS, REPLIES = 0, 1, 2
local MESSAGE_PER_SEGMENT, LINES_OR_LENGTHS = 0, 1

main.prefs.tcp_ports = Pref.range("TCP ports", "", "Ports of devices or proxies", 65535)
main.prefs.udp_ports = Pref.range("UDP ports", "", "Ports of devices or proxies", 65535)
main.prefs.form = Pref.enum("Form", AUTO, "What the messages are", {
    { 1, "By their first bytes", AUTO },
    { 2, "Byte frames", 1 },
    { 3, "Text records", 2 },
    { 4, "Linux frames", 3 },
})
main.prefs.direction = Pref.enum("Direction", AUTO, "Which way the messages go", {
    { 1, "Requests to the port, replies from it", AUTO },
    { 2, "Requests", REQUESTS },
    { 3, "Replies", REPLIES },
})
main.prefs.framing = Pref.enum("TCP framing", MESSAGE_PER_SEGMENT, "Where a message ends", {
    { 1, "Each segment is a message", MESSAGE_PER_SEGMENT },
    { 2, "A line, or a length first", LINES_OR_LENGTHS },
})

-- Requests and replies.

local requests, replies, answered

function main.init()
    requests, replies, answered = {}, {}, {}
end

-- Ties a message to its request or reply while the capture is read for the first time. Returns what is
-- kept of the request.
local function tie(pinfo, place, message)
    if pinfo.visited or not message.serial then
        return
    end
    local source = tostring(pinfo.src) .. " " .. pinfo.src_port
    local target = tostring(pinfo.dst) .. " " .. pinfo.dst_port
    local client, server = source, target
    if not message.is_request then
        client, server = target, source
    end
    local key = table.concat({ client, server, message.form, message.serial }, "|")
    if message.is_request then
        requests[key] = { number = pinfo.number, time = pinfo.abs_ts, place = place }
        return requests[key]
    elseif requests[key] then
        replies[place] = requests[key]
        answered[requests[key].place] = pinfo.number
    end
end

local function show_tie(pinfo, tree, place, is_request)
    if is_request and answered[place] then
        tree:add(fields.response_in, answered[place]):set_generated()
    elseif not is_request and replies[place] then
        local request = replies[place]
        tree:add(fields.response_to, request.number):set_generated()
        local delta = pinfo.abs_ts - request.time
        local seconds = math.floor(delta)
        local nanoseconds = math.floor((delta - seconds) * 1e6 + 0.5) * 1000
        if nanoseconds >= 1e9 then
            seconds, nanoseconds = seconds + 1, 0
        end
        tree:add(fields.response_time, NSTime.new(seconds, nanoseconds)):set_generated()
    end
end

-- Showing.

local function uint64(value)
    if value >= 0 then
        return UInt64.new(value % 0x100000000, math.floor(value / 0x100000000))
    end
    return UInt64.new(value % 0x100000000, MAX_UINT)
end

local function to_hex(bytes)
    return (bytes:gsub(".", function(character)
        return string.format("%02x", character:byte())
    end))
end

-- Data that is not literally in the packet gets a buffer of its own.
local function add_data(tree, range, field, raw)
    local item
    if field.column then
        item = tree:add(fields.data_string, range, (valid_utf8(raw)))
    elseif field.value == raw then
        return tree:add(fields[field.name], range)
    else
        item = tree:add(fields.unread, range)
        item:set_text(field.name .. (field.value and ": not all of it is there, the rest reads as 0"
            or ": not all of it is there"))
    end
    if field.value and #field.value > 0 then
        local whole = ByteArray.new(to_hex(field.value)):tvb("Data")
        item:add(fields[field.name], whole:range())
    end
    return item
end

local function add_item(tree, range, field, raw)
    local name, value = field.name, field.value
    if name == "" then
        return tree:add(fields.unread, range)
    elseif field.is_cut then
        return tree:add(fields.unread, range):set_text(name .. ": " .. CUT)
    end
    local type = layouts.fields[name].type
    if type == "bytes" then
        return add_data(tree, range, field, raw)
    elseif type == "uint64" then
        return tree:add(fields[name], range, uint64(value))
    elseif type == "uint32" then
        return tree:add(fields[name], range, value % 0x100000000)
    end
    return tree:add(fields[name], range, value)
end

local function add_fields(tree, range, bytes, list)
    for _, field in ipairs(list) do
        local raw = bytes:sub(field.offset + 1, field.offset + field.width)
        -- There is no range after the last byte, not even an empty one.
        local place = range(math.min(field.offset, #bytes - (field.width == 0 and 1 or 0)),
            field.width)
        local item = add_item(tree, place, field, raw)
        if field.is_cut then
            item:add_proto_expert_info(experts.cut, CUT)
        elseif field.verb == "status" then
            local result = layouts.codes.commResult[field.value + 1]
            item:append_text(string.format(" (%s)", result or "no name"))
        elseif is_in_bytes[field.verb] then
            item:append_text(" bytes")
        elseif field.verb == "checksum" then
            item:add(fields.checksum_status, place, field.checksum_ok and 1 or 0):set_generated()
        end
        if field.fault then
            local is_sum = field.checksum_ok == false and field.missing == 0
            item:add_proto_expert_info(is_sum and experts.checksum or experts.malformed,
                field.fault)
        end
        if field.note then
            item:add_proto_expert_info(experts.note, field.note)
        end
    end
end

local function is_malformed(scanned)
    local found = scanned.fault ~= nil
    for _, field in ipairs(scanned.fields) do
        found = found or field.fault ~= nil
    end
    for _, item in ipairs(scanned.items or {}) do
        found = found or is_malformed(item)
    end
    return found
end

-- Returns the outcome of a reply in words; nil for a success.
local function failure_of(scanned)
    local values = {}
    for _, field in ipairs(scanned.fields) do
        values[field.verb or ""] = field.value
    end
    if values.status then
        return values.status ~= 0 and string.format("status %d", values.status) or nil
    end
    local comm, pack = values.commResult, values.packageResult
    if captured and not (comm and pack and values.ack) then
        return nil
    end
    if comm and (comm ~= 1 or pack ~= 0 or values.ack ~= 0) then
        return string.format("acknowledge code %d, %s, %s", values.ack or 0,
            layouts.codes.commResult[comm] or comm, layouts.codes.packageResult[pack] or pack)
    end
end

local function show(range, bytes, pinfo, tree, message, place)
    local scanned = message.scanned
    local direction = message.is_request and "request"
        or scanned.full and "full reply" or message.form == "frame" and "short reply" or "reply"
    local title = string.format("%s, %s of %s", message.serial
        and string.format("serial %d", message.serial) or "no serial", direction, message.class)
    local subtree = tree:add(main, range)
    local cut = captured and " [" .. CUT .. "]"
    subtree:append_text(": " .. title .. (cut or ""))
    subtree:add(fields.class, range(0, 0), message.class):set_generated()
    subtree:add(fields.form, range(0, 0), form_words[message.form]):set_generated()
    subtree:add(fields.direction, range(0, 0), direction):set_generated()
    if scanned.fault then
        subtree:add_proto_expert_info(experts.malformed, scanned.fault)
    end
    add_fields(subtree, range, bytes, scanned.fields)
    for i, item in ipairs(scanned.items or {}) do
        local branch = subtree:add(range(math.min(item.offset, #bytes - 1), item.width),
            string.format("item %d: %s", i, item.class or "not read"))
        if item.fault then
            branch:add_proto_expert_info(experts.malformed, item.fault)
        end
        add_fields(branch, range, bytes, item.fields)
    end
    local failure = not message.is_request and not scanned.full and failure_of(scanned)
    if failure then
        subtree:add_proto_expert_info(experts.failure, "the request has failed: " .. failure)
    end
    show_tie(pinfo, subtree, place, message.is_request)
    pinfo.cols.protocol = "Korvin"
    pinfo.cols.info:append(string.format("%s%s%s ", title, failure and ", " .. failure or "",
        cut or is_malformed(scanned) and " [malformed]" or ""))
end

local function is_request(pinfo)
    if main.prefs.direction ~= AUTO then
        return main.prefs.direction == REQUESTS
    end
    return pinfo.match_uint ~= pinfo.src_port or pinfo.match_uint == pinfo.dst_port
end

-- Reads the words for form and class that the loopback programs put before a message.
local function label_of(bytes)
    local form, class = bytes:match("^(%l+) (%a+) ")
    if form and form_words[form] and has_form(class, form) then
        return form, class
    end
end

-- Shows a message that is cut in its label or length.
local function show_cut(tvb, offset, tree)
    tree:add(fields.unread, tvb(offset)):add_proto_expert_info(experts.cut, CUT)
end

-- @param length is that of the message; the capture may have fewer bytes.
local function dissect_message(tvb, offset, length, pinfo, tree, wanted_class)
    local bytes = tvb:raw(offset, math.min(length, tvb:len() - offset))
    captured = nil
    if #bytes < length and (bytes:match("^%l+$") or bytes:match("^%l+ %a*$")) then
        show_cut(tvb, offset, tree)
        return
    end
    local form, class = label_of(bytes)
    if form then
        local width = #form + #class + 2
        local item = tree:add(fields.label, tvb(offset, width - 1))
        offset, length = offset + width, length - width
        bytes = bytes:sub(width + 1)
        if bytes == "" then
            item:add_proto_expert_info(length > 0 and experts.cut or experts.malformed,
                "nothing after the label")
            return
        end
    else
        form = FORMS[main.prefs.form] or form_of(bytes, is_request(pinfo))
        class = has_form(wanted_class, form) and wanted_class or nil
    end
    local whole = bytes
    if #bytes < length then
        captured = #bytes
        whole = bytes .. string.rep("\0", form == "text" and 1 or length - #bytes)
    end
    local place = pinfo.number .. "|" .. offset
    local message = { form = form, is_request = is_request(pinfo) }
    message.serial = serial_of(whole, form, message.is_request)
    local request = tie(pinfo, place, message)
    message.class = class or replies[place] and replies[place].class
        or (guess_class(whole, form, message.is_request))
    if request then
        request.class = message.class
    end
    if not carries_serial(message.class, form) then
        message.serial = nil
    end
    message.scanned = scan(whole, form, message.class, message.is_request)
    if captured then
        as_captured(message.scanned)
    end
    show(tvb(offset, #bytes), bytes, pinfo, tree, message, place)
end

-- Returns the place, length and size in the stream of the message at an offset; the size is nil if it
-- is not known yet.
local function message_at(tvb, offset)
    local there = tvb:len() - offset
    if there >= 4 and tvb(offset + 3, 1):uint() == 0 then
        local length = tvb(offset, 4):le_uint()
        return offset + 4, length, length + 4
    end
    local line_end = tvb:raw(offset, there):find("\n", 1, true)
    return offset, line_end and line_end - 1 or tvb:reported_len() - offset, line_end
end

-- Messages in a TCP stream: a text record is a line; any other message comes after its length, 32
-- bits, little-endian. The fourth byte tells them apart: it is 0 in a length, and never in a line.
local function dissect_stream(tvb, pinfo, tree, class)
    local offset = 0
    local is_whole = tvb:len() == tvb:reported_len()
    while offset < tvb:len() do
        local left = tvb:reported_len() - offset
        if not is_whole and tvb:len() - offset < 4 then
            show_cut(tvb, offset, tree)
            return tvb:len()
        end
        local begin, length, size = message_at(tvb, offset)
        if length > LARGEST_MESSAGE then
            local is_line = begin == offset
            local item = is_line and tree:add(fields.unread, tvb(offset))
                or tree:add(fields.length, tvb(offset, 4), length)
            item:add_proto_expert_info(experts.malformed, is_line and "a line of more than 1 MiB"
                or "more than 1 MiB")
            return tvb:len()
        end
        if is_whole and (not size or size > left) then
            pinfo.desegment_offset = offset
            pinfo.desegment_len = size and size - left or DESEGMENT_ONE_MORE_SEGMENT
            return tvb:len()
        end
        local prefix = begin > offset and tree:add_le(fields.length, tvb(offset, 4))
        if length > 0 and begin < tvb:len() then
            dissect_message(tvb, begin, length, pinfo, tree, class)
        elseif length > 0 then
            prefix:add_proto_expert_info(experts.cut, CUT)
        end
        offset = offset + (size or left)
    end
    return tvb:len()
end

local function dissector(class)
    return function(tvb, pinfo, tree)
        if tvb:len() == 0 then
            return 0
        end
        pinfo.cols.info = ""
        if pinfo.port_type == 2 and main.prefs.framing == LINES_OR_LENGTHS then
            return dissect_stream(tvb, pinfo, tree, class)
        end
        dissect_message(tvb, 0, tvb:reported_len(), pinfo, tree, class)
        return tvb:len()
    end
end

main.dissector = dissector(nil)

-- One more protocol for each class, to choose it by "Decode As".
local function register_for_decode_as(proto)
    DissectorTable.get("tcp.port"):add_for_decode_as(proto)
    DissectorTable.get("udp.port"):add_for_decode_as(proto)
end

register_for_decode_as(main)
for _, class in ipairs(layouts.order) do
    local proto = Proto(class:lower(), "Korvin package: " .. class)
    proto.dissector = dissector(class)
    register_for_decode_as(proto)
end
local combination = Proto(COMBINATION:lower(), "Korvin package: " .. COMBINATION)
combination.dissector = dissector(COMBINATION)
register_for_decode_as(combination)

local registered = { tcp_ports = "", udp_ports = "" }

function main.prefs_changed()
    for preference, table_name in pairs { tcp_ports = "tcp.port", udp_ports = "udp.port" } do
        local ports = main.prefs[preference]
        if registered[preference] ~= ports then
            local dissectors = DissectorTable.get(table_name)
            if registered[preference] ~= "" then
                dissectors:remove(registered[preference], main)
            end
            if ports ~= "" then
                dissectors:add(ports, main)
            end
            registered[preference] = ports
        end
    end
end
