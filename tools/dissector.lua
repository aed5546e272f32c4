
-- What goes by the tables above. A record is read between two places of a datagram and never behind its end: fields that
-- do not lie whole in it are left out.

local mi = Proto("dorvald_mi", "Dorvald, manager channel")
local drv = Proto("dorvald_drv", "Dorvald, driver channel")

---- Fields

local registered = {}          -- by abbreviation
local lists = {mi = {}, drv = {}}

local function clean(name)
    return (name:gsub("%]", ""):gsub("[^%w_.]", "_"))
end

local integers = {
    u = {[1] = ProtoField.uint8, [2] = ProtoField.uint16, [4] = ProtoField.uint32, [8] = ProtoField.uint64},
    i = {[1] = ProtoField.int8, [2] = ProtoField.int16, [4] = ProtoField.int32, [8] = ProtoField.int64},
}
integers.n = integers.u

local function makeField(abbreviation, name, kind, width, words)
    if kind == "s" then
        return ProtoField.string(abbreviation, name)
    elseif kind == "b" then
        return ProtoField.bytes(abbreviation, name)
    elseif kind == "x" or kind == "h" then
        return ProtoField.uint32(abbreviation, name, base.HEX, words)
    end
    return integers[kind][width](abbreviation, name, base.DEC, words)
end

local function register(list, abbreviation, name, kind, width, words)
    if not registered[abbreviation] then
        registered[abbreviation] = makeField(abbreviation, name, kind, width, words)
        table.insert(lists[list], registered[abbreviation])
    end
    return registered[abbreviation]
end

-- Gives every row of a record its field.
local function prepare(list, prefix, rows)
    for _, row in ipairs(rows) do
        row.name, row.offset, row.width, row.count, row.stride, row.kind = table.unpack(row)
        local words = list == "mi" and row.kind == "i" and row.name:match("status$") and STATUSES or nil
        row.field = register(list, prefix .. clean(row.name), row.name, row.kind, row.width, words)
    end
end

local function prepareRecord(record, prefix)
    prepare("drv", prefix or "dorvald.drv." .. record.name .. ".", record.fields)
end

-- "te1/3" and its like, "" for an index that has no such name.
local function interfaceName(index)
    local kind, slot = math.floor(index / 2 ^ 26), math.floor(index / 2 ^ 22) % 16
    local speeds = {[0] = "te", [2] = "ge", [3] = "fo"}
    if index == 0x8bc00000 then
        return " (all)"
    elseif kind == 34 then
        return string.format(" (chip%d/%d)", slot, math.floor(index / 2 ^ 16) % 8)
    elseif kind == 6 and speeds[math.floor(index / 2 ^ 12) % 8] then
        local name = string.format("%s%d/%d", speeds[math.floor(index / 2 ^ 12) % 8], slot, math.floor(index / 2 ^ 15) % 128)
        return " (" .. name .. (index % 8 ~= 0 and "@" .. index % 8 or "") .. ")"
    end
    return ""
end

-- A text up to its first zero, with what is not printed as \xNN.
local function textOf(range)
    local raw = range:raw()
    raw = raw:sub(1, (raw:find("\0", 1, true) or #raw + 1) - 1)
    return (raw:gsub("[^\32-\126]", function(c) return string.format("\\x%02x", c:byte()) end))
end

local function addValue(tree, row, range, little)
    if row.kind == "s" then
        return tree:add(row.field, range, textOf(range))
    elseif row.kind == "n" and little then
        return tree:add_le(row.field, range)
    end
    local item = tree:add(row.field, range)
    if row.kind == "x" then
        item:append_text(interfaceName(range:uint()))
    end
    return item
end

-- How many elements of a field lie whole in so many bytes; a count of 0 is as many as there is room for.
local function elements(row, length)
    if row.offset + row.width > length then
        return 0
    end
    local room = math.floor((length - row.offset - row.width) / row.stride) + 1
    return row.count == 0 and room or math.min(room, row.count)
end

local function addRows(tree, tvb, at, length, rows, little)
    for _, row in ipairs(rows) do
        local count, into = elements(row, length), tree
        if count > 1 then
            into = tree:add(tvb(at + row.offset, (count - 1) * row.stride + row.width), row.name .. ": " .. count .. " values")
        end
        for n = 0, count - 1 do
            local item = addValue(into, row, tvb(at + row.offset + n * row.stride, row.width), little)
            if count > 1 then
                item:prepend_text("[" .. n .. "] ")
            end
        end
    end
end

-- Marks what is wrong.
local function mark(tree, expert, text)
    tree:add_proto_expert_info(expert, text)
end

---- Manager channel

local BIG = 2 ^ 31
local addressRows = {{"family", 0, 2, 1, 2, "n"}, {"service", 2, 14, 1, 14, "s"}, {"slot_mask", 16, 2, 1, 2, "n"},
                     {"flags", 19, 1, 1, 1, "u"}}
local noticeRows = {{"code", 0, 4, 1, 4, "n"}}
local miStatus
local miMalformed = ProtoExpert.new("dorvald.malformed", "Malformed", expert.group.MALFORMED, expert.severity.ERROR)
local miShort = ProtoExpert.new("dorvald.short", "Shorter than its handler needs: passed over", expert.group.PROTOCOL,
                                expert.severity.WARN)
local miRefused = ProtoExpert.new("dorvald.refused", "Failed", expert.group.RESPONSE_CODE, expert.severity.WARN)

-- The address is that of the capturing machine's order; its family, 58 or 0xffff, tells which.
local function addAddress(tree, tvb, at, name)
    local little = tvb(at, 2):le_uint() == 58 or (tvb(at, 2):uint() ~= 58 and LITTLE)
    addRows(tree:add(tvb(at, ADDRESS), name), tvb, at, ADDRESS, addressRows, little)
    return little
end

local function addNotice(tree, tvb)
    local length = tvb:len() - ADDRESS
    if length < NOTICE then
        return mark(tree, miMalformed, "Cut short: a notice has " .. NOTICE .. " bytes")
    end
    local little = addAddress(tree, tvb, ADDRESS + NOTICE - ADDRESS, "Destination") -- which a notice ends in
    addRows(tree, tvb, ADDRESS, length, noticeRows, little)
end

-- Whether the records that the body says it has are there.
local function checkTail(tree, tvb, at, length, message)
    for _, row in ipairs(message.fields) do
        if message.tail and row.name == message.tail.count and elements(row, length) > 0 then
            local count = tvb(at + row.offset, row.width):uint()
            if message.tail.head + count * message.tail.stride > length then
                mark(tree, miMalformed, count .. " records run past the end of the body")
            end
        end
    end
end

local function addBody(tree, tvb, at, length, message, ack)
    addRows(tree, tvb, at, length, message.fields, LITTLE)
    checkTail(tree, tvb, at, length, message)
    if length < message.least then
        mark(tree, miShort, message.name .. " has " .. length .. " bytes, its handler needs " .. message.least)
    end
    for _, row in ipairs(message.fields) do
        if row.name == "status" and row.kind == "i" and elements(row, length) > 0 then
            local range = tvb(at + row.offset, row.width)
            local status = range:int()
            tree:add(miStatus, range)
            if status ~= 0 and ack == 1 then
                mark(tree, miRefused, message.name .. ": " .. (STATUSES[status] or "status " .. status))
            end
            return ack == 1 and status or nil
        end
    end
end

-- One message at `at`: where the next begins, nil if there is nothing to go on with; and its words.
local function addMessage(tree, tvb, at)
    local left = tvb:len() - at
    if left < HEADER.size then
        mark(tree:add(tvb(at), "Rest"), miMalformed, "Cut short: " .. left .. " bytes are left over")
        return nil, "cut"
    end
    local code, length, ack = tvb(at, 1):uint(), tvb(at + 1, 2):uint(), tvb(at + 4, 1):uint()
    local message = MESSAGES[code]
    local there = math.min(length, left - HEADER.size)
    local name = message and message.name or "Unknown code " .. code
    local branch = tree:add(tvb(at, HEADER.size + there), name)
    addRows(branch, tvb, at, HEADER.size, HEADER.fields, LITTLE)
    if not message then
        mark(branch, miMalformed, "No message has the code " .. code)
        return nil, name
    elseif length > there then
        mark(branch, miMalformed, name .. " claims " .. length .. " bytes, " .. there .. " are there")
        return nil, name
    end
    local status = addBody(branch, tvb, at + HEADER.size, length, message, ack)
    if status and status ~= 0 then
        name = name .. " (status " .. status .. ")"
        branch:append_text(", status " .. status)
    end
    branch:append_text(ack == 1 and ", acknowledged" or "")
    return at + HEADER.size + length, name
end

function mi.dissector(tvb, pinfo, root)
    pinfo.cols.protocol = "DORVALD-MI"
    local tree, names, at = root:add(mi, tvb()), {}, ADDRESS
    if tvb:len() < ADDRESS then
        mark(tree, miMalformed, "Cut short: the address has " .. ADDRESS .. " bytes")
        return tvb:len()
    end
    addAddress(tree, tvb, 0, "Address")
    if tvb(0, 2):uint() == 0xffff then
        addNotice(tree, tvb)
        pinfo.cols.info = "Notice"
        return tvb:len()
    end
    while at and at < tvb:len() do
        local name
        at, name = addMessage(tree, tvb, at)
        table.insert(names, name)
    end
    pinfo.cols.info = table.concat(names, ", ")
    if tvb:len() - ADDRESS > BATCH then
        mark(tree, miMalformed, "Longer than the " .. BATCH .. " bytes that the agent takes")
    end
    return tvb:len()
end

local messageNames = {}
for code = 0, #MESSAGES do
    messageNames[code] = MESSAGES[code].name
end
register("mi", "dorvald.msg_type", "msg_type", "u", 1, messageNames)
prepare("mi", "dorvald.", HEADER.fields)
prepare("mi", "dorvald.address.", addressRows)
prepare("mi", "dorvald.notice.", noticeRows)
miStatus = register("mi", "dorvald.status", "status", "i", 4, STATUSES)
for code = 0, #MESSAGES do
    prepare("mi", "dorvald." .. clean(MESSAGES[code].name) .. ".", MESSAGES[code].fields)
end
mi.fields = lists.mi
mi.experts = {miMalformed, miShort, miRefused}

---- Driver channel

local commandNames, byCommand = {}, {}
local drvMalformed = ProtoExpert.new("dorvald.drv.malformed", "Malformed", expert.group.MALFORMED, expert.severity.ERROR)
local drvRefused = ProtoExpert.new("dorvald.drv.refused", "Refused", expert.group.RESPONSE_CODE, expert.severity.WARN)

for _, command in ipairs(COMMANDS) do
    byCommand[command.command] = byCommand[command.command] or {}
    table.insert(byCommand[command.command], command)
    commandNames[command.command] = command.operation < 0 and command.name or nil
    for _, piece in ipairs(command.pieces) do
        prepareRecord(piece.record)
    end
    for _, row in ipairs(command.bits) do
        local abbreviation = "dorvald.drv." .. clean(command.name) .. "." .. clean(row[1])
        row.field = register("drv", abbreviation, row[1] .. " (bits)", "u", 4)
    end
end
prepareRecord(FRAME, "dorvald.drv.frame.")
prepareRecord(DRIVER, "dorvald.drv.header.")
prepareRecord(DCE, "dorvald.drv.dce.")
prepareRecord(COS, "dorvald.drv.cos.")
prepareRecord(CHIP)
prepareRecord(CHIP_READY)
prepareRecord(CHIPS)
prepareRecord(CHIPS_ENTRY)
prepareRecord(PORT)

local drvCommand = register("drv", "dorvald.drv.command", "command", "x", 4, commandNames)
local drvName = register("drv", "dorvald.drv.name", "name", "s")
local drvStatus = register("drv", "dorvald.drv.status", "status", "u", 4)
local drvError = register("drv", "dorvald.drv.error", "error", "u", 4)
local drvRest = register("drv", "dorvald.drv.rest", "rest", "b")
local drvBitmap = register("drv", "dorvald.drv.bitmap", "bitmap", "x", 4)
local drvResponseIn = ProtoField.framenum("dorvald.drv.response_in", "answer in", base.NONE, frametype.RESPONSE)
local drvResponseTo = ProtoField.framenum("dorvald.drv.response_to", "answer to", base.NONE, frametype.REQUEST)
local drvTime = ProtoField.relative_time("dorvald.drv.time", "time since the request")
for _, field in ipairs({drvResponseIn, drvResponseTo, drvTime}) do
    table.insert(lists.drv, field)
end
drv.fields = lists.drv
drv.experts = {drvMalformed, drvRefused}

-- Requests that wait for their answers, by sequence number; and what belongs to a frame, by packet and place.
local waiting, ties = {}, {}

function drv.init()
    waiting, ties = {}, {}
end

local function tieKey(pinfo, at)
    return pinfo.number .. ":" .. at
end

-- Ties a frame to the one it answers. An answer goes the other way than its request.
local function tie(pinfo, at, sequence, record)
    local key, request = tieKey(pinfo, at), waiting[sequence]
    if pinfo.visited then
        return ties[key] or {}
    end
    local other = request and (pinfo.p2p_dir < 0 or pinfo.p2p_dir ~= request.direction)
    local own = {number = pinfo.number, time = pinfo.rel_ts, direction = pinfo.p2p_dir, record = record}
    ties[key] = own
    if request and other then
        own.request, request.answer = request, own
        waiting[sequence] = nil
    else
        waiting[sequence] = own
    end
    return own
end

local function addTies(tree, own)
    if own.answer then
        tree:add(drvResponseIn, own.answer.number):set_generated()
    elseif own.request then
        tree:add(drvResponseTo, own.request.number):set_generated()
        local time = math.max(own.time - own.request.time, 0)
        local seconds = math.floor(time)
        tree:add(drvTime, NSTime.new(seconds, math.floor((time - seconds) * 1e9 + 0.5))):set_generated()
    end
end

local function wordIn(text, at)
    local a, b, c, d = text:byte(at + 1, at + 4)
    return d and ((a * 256 + b) * 256 + c) * 256 + d
end

-- What a record is about stands in its request; an answer need not repeat it.
local function holds(piece, asked, answer)
    if not answer and (piece.where == "answer" or piece.where == "results") then
        return false
    end
    for _, condition in ipairs(piece.conditions) do
        if wordIn(asked, condition[1]) ~= condition[2] then
            return false
        end
    end
    return true
end

local function addPiece(tree, tvb, at, length, record)
    if length > 0 then
        addRows(tree:add(tvb(at, math.min(length, record.size)), record.name), tvb, at, length, record.fields, LITTLE)
    end
end

local function addRepeated(tree, tvb, at, finish, record, count)
    local n = 0
    while n < count and at + record.size <= finish do
        addPiece(tree, tvb, at, record.size, record)
        n, at = n + 1, at + record.size
    end
    if n < count and count < BIG then
        mark(tree, drvMalformed, count .. " of " .. record.name .. " run past the end of the record")
    end
    return at
end

local function addResults(tree, tvb, at, length, piece)
    local keys, results = tvb(at + 34, 2):uint(), tvb(at + 36, 2):uint()
    local first, words = at + piece.at + keys * 12, math.ceil(results / 32)
    for n = 0, words - 1 do
        if first + n * 4 + 4 <= at + length then
            tree:add(drvBitmap, tvb(first + n * 4, 4))
        end
    end
    addRepeated(tree, tvb, first + words * 4, at + length, piece.record, results)
end

-- The pieces at the record's beginning: those of its size, or the first of them.
local function addBase(tree, tvb, at, length, pieces)
    local fitting = {}
    for _, piece in ipairs(pieces) do
        if piece.at == 0 and piece.record.size == length then
            table.insert(fitting, piece)
        end
    end
    for _, piece in ipairs(#fitting > 0 and fitting or {pieces[1]}) do
        addPiece(tree, tvb, at, length, piece.record)
    end
    return #fitting > 0
end

local function addPieces(tree, tvb, at, length, pieces)
    local known = addBase(tree, tvb, at, length, pieces)
    for _, piece in ipairs(pieces) do
        local left = length - piece.at
        if piece.at == 0 or left <= 0 then
            -- done, or nothing there
        elseif piece.where == "keys" then
            addRepeated(tree, tvb, at + piece.at, at + length, piece.record, tvb(at + 34, 2):uint())
        elseif piece.where == "results" then
            addResults(tree, tvb, at, length, piece)
        elseif piece.where == "toend" then
            addRepeated(tree, tvb, at + piece.at, at + length, piece.record, BIG)
        else
            addPiece(tree, tvb, at + piece.at, left, piece.record)
        end
    end
    return known
end

local function addBits(tree, tvb, at, length, rows)
    for _, row in ipairs(rows) do
        local _, offset, width, first, bits = table.unpack(row)
        if offset + width <= length then
            local range = tvb(at + offset, width)
            tree:add(row.field, range, range:bitfield(first, bits))
        end
    end
end

local function findCommand(tvb, at, length)
    local rows = byCommand[tvb(at, 4):uint()] or {}
    for _, row in ipairs(rows) do
        if row.operation < 0 or (length >= DCE.size and tvb(at + 6, 1):uint() == row.operation) then
            return row
        end
    end
end

local addRecord

local function addBulk(tree, tvb, at, length, asked, answer)
    local place = 36
    for n = 1, tvb(at + 32, 2):uint() do
        if place + COS.size > length then
            return mark(tree, drvMalformed, "Record " .. n .. " of the bulk is past its end")
        end
        local slot = math.max(tvb(at + place + 8, 4):uint(), tvb(at + place + 12, 4):uint())
        if slot < COS.size or place + slot > length then
            return mark(tree, drvMalformed, "Record " .. n .. " of the bulk claims " .. slot .. " bytes, " ..
                        length - place .. " are there")
        end
        addRecord(tree, tvb, at + place, slot, asked:sub(place + 1, place + slot), answer, true)
        place = place + slot
    end
end

local function addStatus(tree, tvb, at, command)
    local range = command.family == DCE and tvb(at + 7, 1) or tvb(at + 24, 4)
    tree:add(drvStatus, range)
    if range:uint() ~= 0 then
        mark(tree, drvRefused, command.name .. ": status " .. range:uint())
    end
end

-- Whether the record is as long as it says itself. An answer to a command of the DCE family, or to one that was refused,
-- repeats the length of its request.
local function checkLength(tree, tvb, at, length, family, answer)
    local says = 0
    if family == COS and not (answer and tvb(at + 24, 4):uint() ~= 0) then
        says = tvb(at + (answer and 12 or 8), 4):uint()
    elseif family == DCE and not answer then
        says = tvb(at + 4, 2):uint()
    end
    if says > length then
        mark(tree, drvMalformed, "The record claims " .. says .. " bytes, " .. length .. " are there")
    end
end

-- A record of either family; `asked` is the one of the request, itself if it is one. Gives its name.
function addRecord(parent, tvb, at, length, asked, answer, nested)
    if length < 4 then
        mark(parent, drvMalformed, "Cut short: a record begins with its command")
        return "cut"
    end
    local command = findCommand(tvb, at, length)
    local tree = parent:add(tvb(at, length), command and command.name or "Unknown command")
    tree:add(drvCommand, tvb(at, 4))
    if not command then
        tree:add(drvRest, tvb(at, length))
        return "unknown command"
    elseif length < command.family.size then
        mark(tree, drvMalformed, "Cut short: the head has " .. command.family.size .. " bytes")
        return command.name
    end
    tree:add(drvName, tvb(at, 4), command.name)
    addStatus(tree, tvb, at, command)
    addRows(tree:add(tvb(at, command.family.size), "Head"), tvb, at, length, command.family.fields, LITTLE)
    checkLength(tree, tvb, at, length, command.family, answer)
    local pieces = {}
    for _, piece in ipairs(command.pieces) do
        if holds(piece, asked, answer) then
            table.insert(pieces, piece)
        end
    end
    if length > command.family.size and #pieces > 0 then
        addPieces(tree, tvb, at, length, pieces)
        addBits(tree, tvb, at, length, command.bits)
    end
    if command.command == BULK and nested then
        mark(tree, drvMalformed, "A bulk in a bulk")
    elseif command.command == BULK and length >= 36 then
        addBulk(tree, tvb, at, length, asked, answer)
    end
    return command.name
end

local function addEvent(tree, tvb, at, length, kind)
    if kind == READY then
        addPiece(tree, tvb, at, length, CHIP_READY)
        return "chip ready"
    elseif length >= CHIPS.size and tvb(at, 4):uint() == BULK_UP then
        addPiece(tree, tvb, at, length, CHIPS)
        addRepeated(tree, tvb, at + CHIPS.size, at + length, CHIPS_ENTRY, tvb(at + 4, 4):uint())
        return "chips up"
    end
    addPiece(tree, tvb, at, length, CHIP)
    return "chip event"
end

-- What stands behind the frame's head; gives its words.
local function addPayload(tree, tvb, at, length, frame)
    if frame.kind == DONE then
        return "end"
    end
    if frame.kind == ERROR then
        addTies(tree, tie(frame.pinfo, at, frame.sequence, ""))
        if length < 4 then
            mark(tree, drvMalformed, "Cut short: an error has 4 bytes")
            return "error"
        end
        tree:add(drvError, tvb(at, 4))
        mark(tree, drvRefused, "Error " .. tvb(at, 4):uint())
        return "error " .. tvb(at, 4):uint()
    end
    if length < DRIVER.size then
        mark(tree, drvMalformed, "Cut short: the driver's header has " .. DRIVER.size .. " bytes")
        return "cut"
    end
    addRows(tree:add(tvb(at, DRIVER.size), "Driver header"), tvb, at, length, DRIVER.fields, LITTLE)
    local place, left = at + DRIVER.size, length - DRIVER.size
    if tvb(at + 8, 4):uint() == EVENT then
        return addEvent(tree, tvb, place, left, frame.kind)
    end
    local own = tie(frame.pinfo, at, frame.sequence, left > 0 and tvb(place, left):raw() or "")
    addTies(tree, own)
    local answer = own.request ~= nil or frame.ended
    local asked = own.request and #own.request.record > 0 and own.request.record or own.record or ""
    local says = tvb(at + (answer and 24 or 20), 4):uint()
    if says > left then
        mark(tree, drvMalformed, "The driver's header claims " .. says .. " bytes, " .. left .. " are there")
    end
    return (answer and "answer: " or "request: ") .. addRecord(tree, tvb, place, left, asked, answer, false)
end

-- The frame's head is in the order of the machine that captured it, which its length tells.
local function isLittle(tvb, at)
    local left = tvb:len() - at
    local fits = {[true] = tvb(at, 4):le_uint() <= left, [false] = tvb(at, 4):uint() <= left}
    if fits[LITTLE] or not fits[not LITTLE] then
        return LITTLE
    end
    return not LITTLE
end

local function word(tvb, at, width, little)
    return little and tvb(at, width):le_uint() or not little and tvb(at, width):uint()
end

-- Whether an end frame stands at `at`, which only answers and events have behind them.
local function endsAt(tvb, at, little)
    return at + FRAME.size <= tvb:len() and word(tvb, at + 4, 2, little) == DONE
end

local function addFrame(tree, tvb, pinfo, at)
    local left = tvb:len() - at
    if left < FRAME.size then
        mark(tree:add(tvb(at), "Rest"), drvMalformed, "Cut short: " .. left .. " bytes are left over")
        return nil, "cut"
    end
    local little = isLittle(tvb, at)
    local length = word(tvb, at, 4, little)
    local branch = tree:add(tvb(at, math.max(math.min(length, left), FRAME.size)), "Frame")
    addRows(branch, tvb, at, FRAME.size, FRAME.fields, little)
    if length < FRAME.size or length > left then
        mark(branch, drvMalformed, "The frame claims " .. length .. " bytes, " .. left .. " are there")
        return nil, "cut"
    end
    local behind = at + math.ceil(length / 4) * 4
    local frame = {pinfo = pinfo, kind = word(tvb, at + 4, 2, little), sequence = word(tvb, at + 8, 4, little),
                   ended = endsAt(tvb, behind, little)}
    local text = addPayload(branch, tvb, at + FRAME.size, length - FRAME.size, frame)
    branch:append_text(", " .. text)
    return behind, text
end

function drv.dissector(tvb, pinfo, root)
    pinfo.cols.protocol = "DORVALD-DRV"
    local tree, texts, at = root:add(drv, tvb()), {}, 0
    while at and at < tvb:len() do
        local text
        at, text = addFrame(tree, tvb, pinfo, at)
        if text ~= "end" then
            table.insert(texts, text)
        end
    end
    pinfo.cols.info = table.concat(texts, ", ")
    return tvb:len()
end
