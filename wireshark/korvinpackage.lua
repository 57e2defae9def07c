-- Wireshark dissector of the packages: byte frames, text records and Linux frames over TCP and UDP.
-- docs/wireshark.md says how to use it. What a frame or record holds is in
-- korvinpackage_layouts.lua, which is generated from the layouts of the library.

local directory = debug.getinfo(1, "S").source:match("^@(.*[/\\])") or ""
local layouts = dofile(directory .. "korvinpackage_layouts.lua")

local LARGEST_MESSAGE = 1024 * 1024

-- Layouts: each step is a field, or a move.

local function steps_of(text)
    local steps = {}
    for step in text:gmatch("%S+") do
        local kind, name, column = step:match("^(%w+):(%w+)@(%d+)$")
        if not kind then
            kind, name = step:match("^(%w+):(%w+)")
        end
        steps[#steps + 1] = {
            kind = kind,
            name = name,
            column = tonumber(column),
            constant = tonumber(step:match("=(%d+)$")),
        }
    end
    return steps
end

for _, class in pairs(layouts.classes) do
    for _, name in ipairs { "request", "shortReply", "fullReply", "requestRecord", "replyRecord",
        "writtenReplyRecord", "linux" } do
        class[name] = class[name] and steps_of(class[name])
    end
end

local COMBINATION = "PackageRequestCombination"
local class_of_type = {}
for name, class in pairs(layouts.classes) do
    if class.combinationType then
        class_of_type[class.combinationType] = name
    end
end

local codes_by_name = {}
for field, names in pairs(layouts.names) do
    codes_by_name[field] = {}
    for code, name in pairs(names) do
        codes_by_name[field][name] = code
    end
end

local function is_write(class)
    return class:find("Write", 1, true) ~= nil
end

local function is_data_write(class)
    return class == "PackageRequestWriteData" or class == "PackageRequestWriteIP"
end

local function is_count_of_bytes(name)
    return name == "offset" or name:find("Length$") or name:find("Size$")
end

local function is_length(name)
    return name == "replyDataLength" or name == "packageDataLength" or name == "fileNameSize"
end

-- What is unusual about a field.

local function bytes_in_words(count)
    return count == 1 and "1 byte" or string.format("%d bytes", count)
end

-- The length of the UTF-8 character at a position, or nil.
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

-- The text with U+FFFD for each byte that is no UTF-8, and whether there was none.
local function valid_utf8(text)
    local parts = {}
    local position, start, valid = 1, 1, true
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

-- Frames. A scanner gives the fields as the decoders of the library take them: each has a name, an
-- offset from the beginning of the frame, a width, a value, and perhaps a fault.

local function little_endian(bytes, position, width)
    local value = 0
    for i = width - 1, 0, -1 do
        value = value * 256 + (bytes:byte(position + 1 + i) or 0)
    end
    return value
end

local widths = { u8 = 1, s8 = 1, u16 = 2, i32 = 4, access = 1, flag = 1 }
local signed = { s8 = true, i32 = true }

local function code_fault(name, value)
    if layouts.names[name] and not layouts.names[name][value] then
        return string.format("unknown code %d", value)
    end
    if is_length(name) and value < 0 then
        return string.format("negative length %d", value)
    end
end

local FrameScanner = {}
FrameScanner.__index = FrameScanner

function FrameScanner.new(bytes, takes_missing)
    return setmetatable({
        bytes = bytes,
        takes_missing = takes_missing, -- a field that is not all there takes its bytes nevertheless
        fields = {},
        texts = {},
        values = {},
        position = 0,
        start = 0, -- of the last text or block
        number = 0, -- the last one, which announces what follows
    }, FrameScanner)
end

function FrameScanner:advance(count)
    self.position = self.position + count
    if self.position > 0x7FFFFFFF then
        self.position = self.position - 0x100000000
    end
end

function FrameScanner:add(name, width)
    local size = #self.bytes
    local offset = self.position
    if offset < 0 or offset > size then
        offset = size
    end
    local field = { name = name, offset = offset, width = math.min(width, size - offset) }
    field.missing = width - field.width
    self.fields[#self.fields + 1] = field
    return field
end

function FrameScanner:integer(name, width, is_signed)
    local field = self:add(name, width)
    local value = 0
    if field.missing == 0 or self.takes_missing then
        value = little_endian(self.bytes, field.offset, width)
        if is_signed and value >= 256 ^ width / 2 then
            value = value - 256 ^ width
        end
        self:advance(width)
    end
    if field.missing > 0 then
        field.fault = string.format("truncated: %s expected, %s left", bytes_in_words(width),
            bytes_in_words(field.width))
        if not self.takes_missing then
            field.width = 0
        end
    end
    field.value = value
    self.number = value
    self.values[name] = value
    return field
end

function FrameScanner:constant(name, expected)
    local field = self:add(name, 1)
    field.value = self.bytes:byte(field.offset + 1) or 0
    if field.missing > 0 then
        field.fault = "truncated: 1 byte expected, 0 bytes left"
    elseif field.value ~= expected then
        field.fault = string.format("0x%X expected", expected)
    end
    self:advance(1)
end

function FrameScanner:announced(field, size)
    if field.missing > 0 then
        field.fault = string.format("announced %s, left %s", bytes_in_words(size),
            bytes_in_words(field.width))
    end
end

function FrameScanner:text(name, size)
    self.start = self.position
    local field = self:add(name, size)
    self:announced(field, size)
    -- A decoder keeps the file name that it has where the size is 0.
    if size > 0 or name ~= "fileNameWithPath" then
        self.texts[name] = ""
    end
    if field.missing == 0 and size > 0 then
        local raw = self.bytes:sub(field.offset + 1, field.offset + size)
        local zero = raw:find("\0", 1, true)
        local text, valid = valid_utf8(zero and raw:sub(1, zero - 1) or raw)
        if zero then
            field.fault = "the text holds a zero byte, where readers end it"
        elseif not valid then
            field.fault = "the text is not UTF-8"
        end
        self.texts[name] = text
    end
    field.value = self.texts[name] or ""
    self:advance(size)
end

function FrameScanner:block(name, size)
    self.start = self.position
    local field = self:add(name, size)
    self:announced(field, size)
    if field.missing == 0 then
        field.value = self.bytes:sub(field.offset + 1, field.offset + size)
    end
    self:advance(size)
    return field
end

function FrameScanner:run(steps, marker)
    for _, step in ipairs(steps) do
        local kind, name = step.kind, step.name
        if kind == "constant" then
            self:constant(name, marker or step.constant)
        elseif kind == "sizedText" or kind == "uncountedText" then
            local size = self:integer(name .. "Size", 2).value
            self:text(name, size)
            if kind == "uncountedText" then
                self.position = self.start
            end
        elseif kind == "text" then
            self:text(name, math.max(0, self.number))
        elseif kind == "block" then
            self:block(name, math.max(0, self.number))
        elseif kind == "at" then
            self.position = tonumber(name)
        elseif kind == "back" then
            self.position = self.start
        else
            local field = self:integer(name, widths[kind], signed[kind])
            if not field.fault then
                field.fault = code_fault(name, field.value)
            end
            if kind == "access" and not self.takes_missing then
                field.value = field.value == 0 and 0 or 1
            elseif kind == "flag" then
                if field.value > 1 then
                    field.fault = string.format("unknown code %d", field.value)
                end
                field.value = field.value == 1
            elseif name == "packageDataLength" then
                field.value = math.max(0, field.value)
            end
        end
    end
end

-- The fields by offset; those of the same offset stay in their order.
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
                fault = string.format("%s behind the last field", bytes_in_words(offset - reached)),
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

local FULL_REPLY = "from here on as decoders read it; encoders write a full reply in another way"

local function scan_frame(bytes, class, is_request)
    local scanner = FrameScanner.new(bytes)
    local layout = layouts.classes[class]
    local full = not is_request and (bytes:byte(1) or 0) ~= 0
    if is_request then
        scanner:run(layout.request)
    elseif full then
        scanner:run(layout.fullReply, 1)
    else
        scanner:run(layout.shortReply)
    end
    if is_request and class == "PackageRequestReadData" then
        local data = scanner.fields[#scanner.fields]
        if data.missing > 0 and data.width == 0 then
            data.fault = nil
            data.note = "a request announces the data that its reply is to bring"
        end
    end
    -- What an encoder writes behind the request of a full reply reads back as something else.
    local in_request = true
    for _, field in ipairs(scanner.fields) do
        if full and field.name == "ackCode" then
            field.note = FULL_REPLY
            in_request = false
        end
        if not in_request then
            field.fault = nil
        end
    end
    local fields = add_unread(scanner.fields, #bytes)
    for _, field in ipairs(fields) do
        if field.name == "" and full then
            field.fault = nil
        elseif field.name == "" and class == "PackageRequestWriteFile" and is_request
            and scanner.values.fileNameSize == 0 then
            field.fault = nil
            field.note = "not read; an encoder writes the file name, which begins in front of this"
        end
    end
    return { fields = fields, full = full }
end

local function scan_linux(bytes, class, is_request)
    local scanner = FrameScanner.new(bytes, true)
    scanner:run(layouts.classes[class].linux)
    local length = scanner.values.dataLength
    local checksum = math.max(0, #bytes - 2)
    if length > 0 and (not is_request or scanner.values.readWriteCode ~= 0) then
        -- The data ends at the checksum at the latest.
        local data = FrameScanner.new(bytes:sub(1, checksum))
        data.position = scanner.position
        local field = data:block("data", length)
        field.value = bytes:sub(field.offset + 1, field.offset + field.width)
        if is_data_write(class) then
            field.value = field.value .. string.rep("\0", field.missing)
        end
        scanner.fields[#scanner.fields + 1] = field
    end
    if is_request and scanner.values.status ~= 0 then
        for _, field in ipairs(scanner.fields) do
            if field.name == "status" then
                field.fault = field.fault or "0 expected in a request"
            end
        end
    end
    scanner.position = checksum
    local sum = 0x5555
    for position = 3, checksum do
        sum = sum + bytes:byte(position)
    end
    sum = sum % 0x10000
    local field = scanner:integer("checksum", 2)
    field.checksum_ok = field.value == sum
    field.fault = field.fault
        or not field.checksum_ok and string.format("wrong checksum: 0x%04X expected", sum) or nil
    return { fields = add_unread(scanner.fields, #bytes) }
end

-- Records.

local function split(text, separator, offset)
    local parts = {}
    local position = 1
    while true do
        local found = text:find(separator, position, true)
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

-- The number of a column as decoders parse it: 0 for what is none, or lies out of the range.
local function parsed(text, low, high)
    local sign, digits = text:match("^[ \t\n\v\f\r]*([+-]?)(%d+)[ \t\n\v\f\r]*$")
    if not digits or (sign == "-" and low == 0) then
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

local columns = {}

function columns.u8(text)
    return uint32(text) % 0x100, number_fault(text, 0, 255)
end

function columns.u16(text)
    return uint32(text) % 0x10000, number_fault(text, 0, 65535)
end

function columns.i32(text, name)
    return int32(text), number_fault(text, is_length(name) and 0 or MIN_INT, MAX_INT)
end

function columns.positiveI32(text)
    return int32(text), number_fault(text, 0, MAX_INT)
end

function columns.positiveU32(text)
    local value = uint32(text)
    return value > MAX_INT and value - 0x100000000 or value, number_fault(text, 0, MAX_INT)
end

function columns.text(text)
    return (valid_utf8(text))
end

function columns.escaped(text)
    local key = text:gsub("%*#%*", ","):gsub("#%*#", "/")
    return (valid_utf8(key)), text:find("/", 1, true) and "a / that is not escaped" or nil
end

function columns.flag(text)
    local known = text == "true" or text == "false"
    return text == "true", not known and "unknown word " .. quoted(text) or nil
end

local function word(fallback)
    return function(text, name)
        local code = codes_by_name[name][text]
        return code or fallback[name], not code and "unknown word " .. quoted(text) or nil
    end
end

columns.access = word { readWriteCode = 1 }
columns.readKind = word { clientPackageType = 2 }
columns.writeKind = word { clientPackageType = 0 }
columns.result = word { commResult = 1, packResult = 0 }

local function data_string(text, length, takes_empty)
    local parts = split(text, "/", 0)
    local count = takes_empty and text == "" and 0 or #parts
    local fault = count ~= length and string.format("%d numbers announced, %d found", length, count)
        or nil
    if length > #parts then
        return nil, fault
    end
    local bytes = {}
    for i = 1, length do
        bytes[i] = string.char(int32(parts[i].text) % 256)
        fault = fault or number_fault(parts[i].text, 0, 255)
    end
    return table.concat(bytes), fault
end

-- The fields as decoders read them, or as encoders write them.
local function scan_record(text, class, is_request, base, as_written)
    local layout = layouts.classes[class]
    local parts = split(text, ",", base or 0)
    local fields, readers, written, written_count = {}, {}, {}, 0
    for _, step in ipairs(is_request and layout.requestRecord or layout.writtenReplyRecord) do
        written[step.column] = step.name
        written_count = written_count + 1
    end
    local number = 0
    local steps = is_request and layout.requestRecord
        or as_written and layout.writtenReplyRecord or layout.replyRecord
    for _, step in ipairs(steps) do
        local part = parts[step.column + 1]
        if part then
            local value, fault
            if step.kind == "dataString" then
                local takes_empty = is_data_write(class) and not is_request
                value, fault = data_string(part.text, number, takes_empty)
            else
                value, fault = columns[step.kind](part.text, step.name)
            end
            if type(value) == "number" then
                number = value
            end
            fields[#fields + 1] = {
                name = step.name,
                column = step.column,
                offset = part.offset,
                width = #part.text,
                value = value,
                fault = (written[step.column] or step.name) == step.name and fault or nil,
                note = written[step.column] and written[step.column] ~= step.name
                    and "an encoder writes " .. written[step.column] .. " here" or nil,
                is_data_string = step.kind == "dataString",
            }
            readers[step.column] = true
        end
    end
    for i, part in ipairs(parts) do
        if not readers[i - 1] then
            local name = written[i - 1]
            fields[#fields + 1] = {
                name = "",
                column = i - 1,
                offset = part.offset,
                width = #part.text,
                fault = not name and "a column behind the last one" or nil,
                note = name and "not read; an encoder writes " .. name .. " here" or nil,
            }
        end
    end
    -- Of a special request's reply an encoder writes less than its decoder wants.
    local needed = math.min(layout.columns[is_request and 1 or 2], written_count)
    return {
        fields = by_offset(fields),
        fault = #parts < needed
            and string.format("too few columns: %d expected, %d found", needed, #parts) or nil,
    }
end

-- The items are request records, or where a peer answers with a combination, reply records.
local function scan_combination(text, is_request)
    local items = {}
    local goes_on = true
    for i, part in ipairs(split(text, "|", 0)) do
        local props = split(part.text, "^", part.offset)
        local class = class_of_type[props[1].text]
        local item = { fields = {}, offset = part.offset, width = #part.text }
        local reason = not goes_on and "not read"
            or #props ~= 2 and "not two parts with a ^ between them: the decoder ends here"
            or not class and "the decoder refuses the type" or nil
        if reason then
            item.fields[1] = { name = "", offset = part.offset, width = #part.text, fault = reason }
            goes_on = false
        else
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
        end
        items[i] = item
    end
    return { items = items, fields = {} }
end

-- Packages: what a message is, and its fields.

local function form_of(bytes)
    if bytes:sub(1, 2) == "\x55\xAA" then
        return "linux"
    end
    local is_text = not bytes:find("\0", 1, true) and bytes:byte(1) ~= 1
        and (bytes:find(",", 1, true) or bytes:find("^", 1, true))
    return is_text and "text" or "frame"
end

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

local function usual_kind(class)
    return class:find("File", 1, true) and 1 or class:find("MemData", 1, true) and 2 or 0
end

-- How well a class fits: fewer faults first, then codes that are usual for the class.
local function rank(scanned, class)
    local faults, usual = scanned.fault and 100 or 0, 0
    for _, field in ipairs(scanned.fields) do
        if field.fault then
            faults = faults + 1
        end
        if field.name == "readWriteCode" and field.value == (is_write(class) and 1 or 0)
            or field.name == "clientPackageType" and field.value == usual_kind(class) then
            usual = usual + 1
        end
    end
    return faults * 10 - usual
end

local function guess_class(bytes, form, is_request)
    if form == "linux" then
        return (bytes:byte(11) or 0) == 0 and "PackageRequestReadData" or "PackageRequestWriteData"
    elseif form == "text" and bytes:find("^", 1, true) then
        return COMBINATION
    end
    local best, best_rank
    for _, class in ipairs(layouts.order) do
        local scanned = form == "text" and scan_record(bytes, class, is_request, 0, true)
            or scan_frame(bytes, class, is_request)
        local class_rank = rank(scanned, class)
        if not best or class_rank < best_rank then
            best, best_rank = class, class_rank
        end
    end
    return best
end

-- The serial number of a message, without knowing its class; nil where it carries none.
local function serial_of(bytes, form, is_request)
    if form == "linux" then
        return bytes:byte(4)
    elseif form == "text" then
        local parts = split(bytes, ",", 0)
        return #parts >= 15 and not bytes:find("^", 1, true) and int32(parts[1].text) or nil
    end
    local scanned = scan_frame(bytes, "PackageBase", is_request)
    for _, field in ipairs(scanned.fields) do
        if field.name == "serialNum" and field.width > 0 then
            return field.value
        end
    end
end

-- Wireshark: protocols, fields and preferences.

local main = Proto("korvinpackage", "Korvin package")
local fields = {}

local function label(name)
    return layouts.descriptions[name] or name
end

-- The type of a field is the widest of what its forms carry; all but these are 32-bit numbers.
local strings = { "deviceKey", "tag", "fileNameWithPath", "strData", "type" }
local other_types = { serialNum = ProtoField.uint64, ackCode = ProtoField.uint32 }
for _, name in ipairs(strings) do
    fields[name] = ProtoField.string("korvinpackage." .. name, name, base.UNICODE, label(name))
end
fields.broadcast = ProtoField.bool("korvinpackage.broadcast", "broadcast", base.NONE, nil, 0,
    label("broadcast"))
fields.data = ProtoField.bytes("korvinpackage.data", "data", base.SPACE, label("data"))
fields.checksum = ProtoField.uint16("korvinpackage.checksum", "checksum", base.HEX, nil, 0,
    label("checksum"))
for name in pairs(layouts.descriptions) do
    if not fields[name] then
        local create = other_types[name] or ProtoField.int32
        fields[name] = create("korvinpackage." .. name, name, base.DEC, layouts.names[name], 0,
            label(name))
    end
end
fields.data_string = ProtoField.string("korvinpackage.data_string", "data string", base.UNICODE,
    "data as numbers joined by /")
fields.unread = ProtoField.bytes("korvinpackage.unread", "not read", base.SPACE,
    "what no decoder reads")
fields.class = ProtoField.string("korvinpackage.class", "class")
fields.form = ProtoField.string("korvinpackage.form", "form")
fields.direction = ProtoField.string("korvinpackage.direction", "direction")
fields.label = ProtoField.string("korvinpackage.label", "label", base.UNICODE,
    "form and class, in front of the message")
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
    failure = ProtoExpert.new("korvinpackage.failure", "the request has failed",
        expert.group.RESPONSE_CODE, expert.severity.NOTE),
}
main.experts = { experts.malformed, experts.checksum, experts.note, experts.failure }

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
    { 2, "A line, or its length in front", LINES_OR_LENGTHS },
})

-- Requests and replies.

local requests, replies, answered

function main.init()
    requests, replies, answered = {}, {}, {}
end

-- Ties a message to the other side of the exchange while the capture is read for the first time.
-- Gives what is kept of a request.
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

-- Data that does not stand in the packet as it is gets a buffer of its own.
local function add_data(tree, range, field, raw)
    local item = tree
    if field.is_data_string then
        item = tree:add(fields.data_string, range, (valid_utf8(raw)))
    elseif not field.value then
        item = tree:add(fields.unread, range)
        item:set_text("data: not all of it is there")
    elseif field.value == raw then
        return tree:add(fields.data, range)
    else
        item = tree:add(fields.unread, range)
        item:set_text("data: not all of it is there, the rest reads as 0")
    end
    if field.value and #field.value > 0 then
        local whole = ByteArray.new(to_hex(field.value)):tvb("Data")
        item:add(fields.data, whole:range())
    end
    return item
end

local function add_item(tree, range, field, raw)
    local name, value = field.name, field.value
    if name == "" then
        return tree:add(fields.unread, range)
    elseif name == "data" then
        return add_data(tree, range, field, raw)
    elseif name == "serialNum" then
        return tree:add(fields.serialNum, range, uint64(value))
    elseif name == "ackCode" then
        return tree:add(fields.ackCode, range, value % 0x100000000)
    end
    return tree:add(fields[name], range, value)
end

local function add_fields(tree, range, bytes, list)
    for _, field in ipairs(list) do
        local raw = bytes:sub(field.offset + 1, field.offset + field.width)
        -- There is no range behind the last byte, not even an empty one.
        local place = range(math.min(field.offset, #bytes - (field.width == 0 and 1 or 0)),
            field.width)
        local item = add_item(tree, place, field, raw)
        if field.name == "status" then
            local result = layouts.names.commResult[field.value + 1]
            item:append_text(string.format(" (%s)", result or "no name"))
        elseif is_count_of_bytes(field.name) then
            item:append_text(" bytes")
        elseif field.name == "checksum" then
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

-- The outcome of a reply in words; nil for a success.
local function failure_of(scanned)
    local values = {}
    for _, field in ipairs(scanned.fields) do
        values[field.name] = field.value
    end
    if values.status then
        return values.status ~= 0 and string.format("status %d", values.status) or nil
    end
    if values.commResult and (values.commResult ~= 1 or values.packResult ~= 0
        or values.ackCode ~= 0) then
        return string.format("acknowledge code %d, %s, %s", values.ackCode or 0,
            layouts.names.commResult[values.commResult] or values.commResult,
            layouts.names.packResult[values.packResult] or values.packResult)
    end
end

local function show(range, bytes, pinfo, tree, message, place)
    local scanned = message.scanned
    local direction = message.is_request and "request"
        or scanned.full and "full reply" or message.form == "frame" and "short reply" or "reply"
    local title = string.format("%s, %s of %s", message.serial
        and string.format("serial %d", message.serial) or "no serial", direction, message.class)
    local subtree = tree:add(main, range)
    subtree:append_text(": " .. title)
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
        is_malformed(scanned) and " [malformed]" or ""))
end

local function has_form(class, form)
    if class == COMBINATION then
        return form == "text"
    end
    return layouts.classes[class] ~= nil and (form ~= "linux" or layouts.classes[class].linux)
end

local function is_request(pinfo)
    if main.prefs.direction ~= AUTO then
        return main.prefs.direction == REQUESTS
    end
    return pinfo.match_uint ~= pinfo.src_port or pinfo.match_uint == pinfo.dst_port
end

-- The words for form and class that the loopback programs put in front of a message.
local function label_of(bytes)
    local form, class = bytes:match("^(%l+) (%a+) ")
    if form and form_words[form] and has_form(class, form) then
        return form, class
    end
end

local function dissect_message(tvb, offset, length, pinfo, tree, wanted_class)
    local bytes = tvb:raw(offset, length)
    local form, class = label_of(bytes)
    if form then
        local width = #form + #class + 2
        local item = tree:add(fields.label, tvb(offset, width - 1))
        offset, length = offset + width, length - width
        if length == 0 then
            item:add_proto_expert_info(experts.malformed, "nothing behind the label")
            return
        end
        bytes = bytes:sub(width + 1)
    else
        form = FORMS[main.prefs.form] or form_of(bytes)
        class = has_form(wanted_class, form) and wanted_class or nil
    end
    local place = pinfo.number .. "|" .. offset
    local message = { form = form, is_request = is_request(pinfo) }
    message.serial = serial_of(bytes, form, message.is_request)
    local request = tie(pinfo, place, message)
    message.class = class or replies[place] and replies[place].class
        or guess_class(bytes, form, message.is_request)
    if request then
        request.class = message.class
    end
    if message.class == COMBINATION
        or form == "text" and message.class == "SpecialPackageRequest" then
        message.serial = nil
    end
    message.scanned = scan(bytes, form, message.class, message.is_request)
    show(tvb(offset, length), bytes, pinfo, tree, message, place)
end

-- Messages in a TCP stream: a text record is a line; any other message has its length in front, 32
-- bits, little-endian. The fourth byte tells them apart: it is 0 in a length, and never in a line.
local function dissect_stream(tvb, pinfo, tree, class)
    local offset = 0
    while offset < tvb:len() do
        local left = tvb:len() - offset
        local begin, length, size
        if left >= 4 and tvb(offset + 3, 1):uint() == 0 then
            length = tvb(offset, 4):le_uint()
            begin, size = offset + 4, length + 4
            if length > LARGEST_MESSAGE then
                tree:add(fields.length, tvb(offset, 4), length)
                    :add_proto_expert_info(experts.malformed, "more than 1 MiB")
                return tvb:len()
            end
        else
            local line_end = tvb:raw(offset, left):find("\n", 1, true)
            if not line_end and left > LARGEST_MESSAGE then
                tree:add(fields.unread, tvb(offset, left))
                    :add_proto_expert_info(experts.malformed, "a line of more than 1 MiB")
                return tvb:len()
            end
            begin, length, size = offset, (line_end or 0) - 1, line_end
        end
        if not size or size > left then
            pinfo.desegment_offset = offset
            pinfo.desegment_len = size and size - left or DESEGMENT_ONE_MORE_SEGMENT
            return tvb:len()
        end
        if begin > offset then
            tree:add_le(fields.length, tvb(offset, 4))
        end
        if length > 0 then
            dissect_message(tvb, begin, length, pinfo, tree, class)
        end
        offset = offset + size
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
        dissect_message(tvb, 0, tvb:len(), pinfo, tree, class)
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
