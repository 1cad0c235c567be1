// Comparing and merging XML documents: their readings for the
// format-neutral rules of Merging.cpp, and the merge's edits recorded on the
// user's tree by node (found once, by one walk of each tree), rendered once
// and read back before they are kept. A merge of large files so costs a few
// passes over each, whatever the number of edits.

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "DocumentAccess.h"
#include "Merging.h"
#include "XmlDocument.h"

namespace zelconfig {

namespace {

using Tree = xml::XmlDocument;
using Node = Tree::Node;

// A key with every part indexed ("a.b" is "a[1].b[1]"), so that one value
// matches across files whether or not a sibling of its name comes or goes;
// and its parent's, the group its adds are placed in. Into `indexed`, whose
// room is kept from one key to the next.
void IndexedInto(std::string& indexed, const std::string& key, std::string& parent)
{
    indexed.clear();
    size_t partBegin = 0, parentEnd = 0;
    bool quoted = false;
    const auto endPart = [&](size_t at) {
        if (at == partBegin || key[at - 1] != ']') {
            indexed += "[1]";
        }
    };
    for (size_t at = 0; at < key.size(); ++at) {
        const char c = key[at];
        if (c == '"') {
            quoted = !quoted;
        } else if (c == '.' && !quoted) {
            endPart(at);
            parentEnd = indexed.size();
            partBegin = at + 1;
        }
        indexed += c;
    }
    endPart(key.size());
    parent.assign(indexed, 0, parentEnd);
}

// The name an attribute's key ends with, its quotes taken off.
std::string LastName(std::string_view key)
{
    if (!key.empty() && key.back() == '"') {
        const size_t open = key.rfind('"', key.size() - 2);
        return std::string(key.substr(open + 1, key.size() - open - 2));
    }
    const size_t dot = key.rfind('.');
    return std::string(dot == std::string_view::npos ? key : key.substr(dot + 1));
}

// One value of a tree into `item`, its value a view of the walk's string,
// which lasts only until the next value; `path` and `group` are room reused.
void Name(Keyed& item, Naming& naming, const std::string& key, const std::string& value, std::string& path,
          std::string& group)
{
    IndexedInto(path, key, group);
    naming.Identify(item, path, group);
    item.value = value;
}

// The same with its key and value kept, for a reading.
void Fill(Keyed& item, Naming& naming, const std::string& key, const std::string& value, std::string& path,
          std::string& group)
{
    Name(item, naming, key, value, path, group);
    naming.KeepKey(item, key);
    item.value = naming.Keep(value);
}

Reading ReadingOf(const XmlDocument& document, Naming& naming)
{
    Reading reading;
    std::string path, group;
    naming.Restart(0);
    document.Walk([&](const std::string& key, const std::string& value) {
        Fill(reading.emplace_back(), naming, key, value, path, group);
    });
    return reading;
}

// A tree's reading with the node of each value, and the elements without
// a value of their own by their indexed keys.
struct Walked
{
    Reading reading;
    std::vector<Node> nodes;
    struct Container
    {
        uint32_t name, group;       // its indexed key's number, and its parent's
        std::string_view path, key; // its indexed key and its key, held by the naming
        Node node;
        size_t first; // the reading's index of its first value: they follow one another
    };
    std::vector<Container> containers;
    // Every node in the tree's order, when asked for: a value by its index
    // in the reading, else kNoItem and a container by its index.
    struct Step
    {
        size_t item, container;
    };
    std::vector<Step> order;
};

// Every element and attribute of a walked tree by the number of its indexed key.
class Paths
{
public:
    Paths(const Walked& walked, const Naming& naming) : m_nodes(naming.NameCount())
    {
        for (size_t i = 0; i < walked.reading.size(); ++i) {
            m_nodes[walked.reading[i].name] = walked.nodes[i];
        }
        for (const Walked::Container& container : walked.containers) {
            m_nodes[container.name] = container.node;
        }
    }
    // The node, or none.
    Node Find(uint32_t name) const { return name < m_nodes.size() ? m_nodes[name] : Node{}; }

private:
    std::vector<Node> m_nodes;
};

// A tree's reading; `ordered` with the order of all its nodes, for the
// placing of what it adds.
Walked WalkOf(const Tree& tree, Naming& naming, bool ordered)
{
    Walked walked;
    std::string path, group;
    naming.Restart(0);
    tree.ForEachNode([&](const std::string& key, const std::string* value, Node node) {
        if (value == nullptr) {
            IndexedInto(path, key, group);
            const uint32_t name = naming.Number(path, group);
            if (ordered) {
                walked.order.push_back({kNoItem, walked.containers.size()});
            }
            walked.containers.push_back(
                {name, naming.GroupNumber(), naming.NameOf(name), naming.Keep(key), node, walked.reading.size()});
            return;
        }
        if (ordered) {
            walked.order.push_back({walked.reading.size(), 0});
        }
        Fill(walked.reading.emplace_back(), naming, key, *value, path, group);
        walked.nodes.push_back(node);
    });
    return walked;
}

// Places what the new defaults add, in one more pass over their walk: an
// element the file lacks (whole, with what it holds) after the element
// before it there that the file keeps, else before the one after it, else
// at the end of its parent; an attribute likewise among its element's
// attributes. Container elements count as neighbours too, which the
// reading's values (MergePlan::Add) do not hold, and the nature of each
// is the tree's.
class Placing
{
public:
    Placing(Tree& file, const Tree& updated, std::string_view updatedText, const Walked& walked,
            const Naming& naming, const Paths& mine, const Paths& old, const std::unordered_set<const void*>& removed,
            const std::unordered_set<const void*>& keeping, const std::vector<bool>& added)
        : m_file(file), m_updated(updated), m_text(updatedText), m_walked(walked), m_naming(naming), m_mine(mine),
          m_old(old), m_removed(removed), m_keeping(keeping), m_added(added)
    {
    }

    // The file's elements whose removal the plan asks for, which stay as
    // the new defaults' containers (filled in by what they add).
    const std::unordered_set<const void*>& Revived() const { return m_revived; }
    // The file's elements with children that the new defaults empty, or
    // give a value where the merge keeps an element in them: the value
    // each adds, and the file's element.
    const std::vector<std::pair<size_t, Node>>& Emptied() const { return m_emptied; }
    // What the new defaults add inside an element the user removed, which
    // stays removed: no add.
    const std::vector<size_t>& Dropped() const { return m_dropped; }

    // False with `why` when something cannot be placed.
    bool Run(std::string& why)
    {
        m_frames.push_back(Frame{std::string_view(), m_file.Root(), Node{}, Node{}});
        bool ok = true;
        for (size_t i = 0; ok && i < m_walked.order.size(); ++i) {
            ok = Visit(m_walked.order[i], why);
        }
        ok = ok && CloseSubtree(why);
        while (ok && !m_frames.empty()) {
            ok = Pop(why);
        }
        return ok;
    }

private:
    // An element of the new defaults that the file has too, as the walk is inside it.
    struct Frame
    {
        std::string_view path;
        Node file;
        Node lastElement, lastAttribute; // the last child the file keeps, met so far
        std::vector<Tree::Piece> pending = {}; // new elements since the last kept one, placed as one
        std::vector<std::pair<std::string, std::string>> pendingAttributes = {};
    };
    // An element the file lacks, gathered whole.
    struct Subtree
    {
        bool open = false;
        std::string_view path, key;
        Node node;
        std::vector<size_t> added; // its values the merge adds
        bool itself = true;    // its own value, if any, is one of them
        std::vector<Node> without; // its values the merge does not add (the user removed them)
    };

    bool Added(size_t item) const { return item != kNoItem && m_added[item]; }

    bool Visit(const Walked::Step& step, std::string& why)
    {
        const size_t item = step.item;
        const bool valued = item != kNoItem;
        const Walked::Container* container = valued ? nullptr : &m_walked.containers[step.container];
        const uint32_t name = valued ? m_walked.reading[item].name : container->name;
        const std::string_view path = m_naming.NameOf(name);
        const std::string_view group = m_naming.GroupName(valued ? m_walked.reading[item].group : container->group);
        const std::string_view key = valued ? m_naming.KeyOf(m_walked.reading[item]) : container->key;
        const Node node = valued ? m_walked.nodes[item] : container->node;
        const std::string_view value = valued ? m_walked.reading[item].value : std::string_view();
        if (m_subtree.open) {
            if (path.size() > m_subtree.path.size() && path[m_subtree.path.size()] == '.'
                && path.compare(0, m_subtree.path.size(), m_subtree.path) == 0) {
                if (Added(item)) {
                    m_subtree.added.push_back(item);
                } else if (item != kNoItem) {
                    m_subtree.without.push_back(node);
                }
                return true;
            }
            if (!CloseSubtree(why)) {
                return false;
            }
        }
        while (m_frames.size() > 1 && m_frames.back().path != group) {
            if (!Pop(why)) {
                return false;
            }
        }
        if (m_frames.back().path != group) {
            return true; // under no element the file has: nothing to place it by
        }
        Frame& frame = m_frames.back();
        const Node found = m_mine.Find(name);
        bool kept = found && m_removed.count(found.object) == 0;
        if (!kept && found && !node.attribute && item == kNoItem) {
            // An empty element of the file that the new defaults fill: its
            // value goes as they give it children, the element stays.
            m_revived.insert(found.object);
            kept = true;
        }
        if (node.attribute) {
            if (kept) {
                frame.lastAttribute = found;
                for (const auto& pending : frame.pendingAttributes) {
                    const int status =
                        m_file.InsertAttribute(frame.file, found, false, pending.first, pending.second, why);
                    if (!Check(status, key, why)) {
                        return false;
                    }
                }
                frame.pendingAttributes.clear();
            } else if (Added(item) && frame.lastAttribute) {
                const int status = m_file.InsertAttribute(frame.file, frame.lastAttribute, true, LastName(key),
                                                          std::string(value), why);
                return Check(status, key, why);
            } else if (Added(item)) {
                frame.pendingAttributes.emplace_back(LastName(key), std::string(value));
            }
            return true;
        }
        if (found) {
            // An element the file holds with children only, where the new
            // defaults give it text, or nothing (Emptied): text only where
            // no element stays in it, as an element holds one or the other.
            if (Added(item) && (value.empty() || m_keeping.count(found.object) != 0)) {
                m_emptied.emplace_back(item, found);
            } else if (Added(item) && !Check(m_file.SetNode(found, std::string(value)), key, why)) {
                return false;
            }
            if (kept) {
                if (!Flush(frame, found, why)) {
                    return false;
                }
                frame.lastElement = found;
            }
            m_frames.push_back(Frame{path, found, Node{}, Node{}});
            return true;
        }
        // An element the old defaults had (with a value or elements) and the
        // file lacks, the user removed: it stays away, whatever it holds now.
        const bool itself = !m_old.Find(name) && (item == kNoItem || Added(item));
        m_subtree = Subtree{true, path, key, node, {}, itself, {}};
        if (Added(item)) {
            m_subtree.added.push_back(item);
        }
        return true;
    }

    // The subtree gathered, as one piece of the new defaults' bytes.
    bool CloseSubtree(std::string& why)
    {
        if (!m_subtree.open) {
            return true;
        }
        m_subtree.open = false;
        if (m_subtree.added.empty()) {
            return true; // all the user's removals: it stays away
        }
        if (!m_subtree.itself) {
            // The user removed the element: what the new defaults add in it
            // stays away with it.
            m_dropped.insert(m_dropped.end(), m_subtree.added.begin(), m_subtree.added.end());
            return true;
        }
        Tree::Piece piece;
        if (!m_updated.PieceOf(m_text, m_subtree.node, m_subtree.without, piece)) {
            why = std::string(m_subtree.key) + ": its bytes in the new defaults cannot be found";
            return false;
        }
        m_frames.back().pending.push_back(std::move(piece));
        return true;
    }

    // The new elements since the last kept one go after it, else before
    // `next` (the next one kept), else at the end of the frame's element.
    bool Flush(Frame& frame, Node next, std::string& why)
    {
        if (frame.pending.empty()) {
            return true;
        }
        const Node at = frame.lastElement ? frame.lastElement : next ? next : frame.file;
        const Tree::Where where = frame.lastElement ? Tree::Where::kAfter
                                  : next            ? Tree::Where::kBefore
                                                    : Tree::Where::kInto;
        const int status = m_file.Insert(at, where, std::move(frame.pending), why);
        frame.pending.clear();
        return Check(status, frame.path, why);
    }

    // Leaves an element: what had no neighbour in the file goes at its end.
    bool Pop(std::string& why)
    {
        Frame frame = std::move(m_frames.back());
        m_frames.pop_back();
        for (const auto& pending : frame.pendingAttributes) {
            if (!Check(m_file.InsertAttribute(frame.file, Node{}, true, pending.first, pending.second, why),
                       std::string(frame.path) + "." + pending.first, why)) {
                return false;
            }
        }
        return Flush(frame, Node{}, why);
    }

    static bool Check(int status, std::string_view key, std::string& why)
    {
        if (status == 0) {
            return true;
        }
        why = std::string(key) + ": " + (status == kStatusNotHoldable ? "a value XML cannot hold" : why);
        return false;
    }

    Tree& m_file;
    const Tree& m_updated;
    std::string_view m_text;
    const Walked& m_walked; // the new defaults'
    const Naming& m_naming;
    const Paths& m_mine;
    const Paths& m_old; // the old defaults' elements and attributes
    const std::unordered_set<const void*>& m_removed;
    const std::unordered_set<const void*>& m_keeping; // the file's elements the merge keeps an element in
    const std::vector<bool>& m_added;
    std::vector<Frame> m_frames;
    Subtree m_subtree;
    std::unordered_set<const void*> m_revived;
    std::vector<std::pair<size_t, Node>> m_emptied;
    std::vector<size_t> m_dropped;
};

// The file's elements in which the merge keeps an element (what the user
// changed, or added): attributes do not count, as they sit beside a value.
std::unordered_set<const void*> Keeping(const Walked& mine, const std::vector<bool>& gone, const Naming& naming)
{
    std::unordered_set<const void*> keeping;
    for (const Walked::Container& container : mine.containers) {
        const std::string prefix = std::string(container.path) + ".";
        for (size_t i = container.first;
             i < mine.reading.size() && naming.Path(mine.reading[i]).compare(0, prefix.size(), prefix) == 0; ++i) {
            if (!gone[i] && !mine.nodes[i].attribute) {
                keeping.insert(container.node.object);
                break;
            }
        }
    }
    return keeping;
}

} // namespace

std::vector<Difference> Compare(const XmlDocument& first, const XmlDocument& second)
{
    Naming naming(true, nullptr);
    const Reading a = ReadingOf(first, naming);
    const Reading b = ReadingOf(second, naming);
    return CompareReadings(a, b, naming);
}

int Merge(const XmlDocument& oldDefaults, const XmlDocument& newDefaults, XmlDocument& file,
          std::vector<Conflict>& conflicts)
{
    conflicts.clear();
    if (!DocumentAccess::Parsed(oldDefaults) || !DocumentAccess::Parsed(newDefaults)
        || !DocumentAccess::Parsed(file)) {
        DocumentAccess::Fail(file, "a document to merge is not well-formed XML");
        return kStatusInvalid;
    }
    Tree& tree = DocumentAccess::Tree(file);
    Naming naming(true, nullptr);
    const Walked mine = WalkOf(tree, naming, false);
    const Walked theirs = WalkOf(DocumentAccess::Tree(newDefaults), naming, true);
    const Walked old = WalkOf(DocumentAccess::Tree(oldDefaults), naming, false);
    MergePlan plan = PlanMerge(old.reading, theirs.reading, mine.reading, naming);
    conflicts = std::move(plan.conflicts);
    if (plan.sets.empty() && plan.removals.empty() && plan.adds.empty()) {
        return 0;
    }
    // Every edit recorded on the file's tree, by node, and rendered once.
    const auto refuse = [&](const std::string& why) {
        tree.Discard();
        DocumentAccess::Fail(file, "refusing to merge: " + why);
        return kEditAmbiguous;
    };
    std::string why;
    for (const MergePlan::Set& set : plan.sets) {
        if (tree.SetNode(mine.nodes[set.file], std::string(theirs.reading[set.updated].value)) != 0) {
            return refuse(naming.Key(mine.reading[set.file]) + ": a value XML cannot hold");
        }
    }
    std::unordered_set<const void*> removed, revived;
    std::vector<std::pair<size_t, Node>> emptied;
    std::vector<bool> gone(mine.reading.size(), false);
    for (size_t i : plan.removals) {
        removed.insert(mine.nodes[i].object);
        gone[i] = true;
    }
    const std::unordered_set<const void*> keeping = Keeping(mine, gone, naming);
    if (!plan.adds.empty()) {
        std::vector<bool> added(theirs.reading.size(), false);
        for (const MergePlan::Add& add : plan.adds) {
            added[add.updated] = true;
        }
        const Paths paths(mine, naming);
        const Paths oldPaths(old, naming);
        Placing placing(tree, DocumentAccess::Tree(newDefaults), newDefaults.Text(), theirs, naming, paths, oldPaths, removed,
                        keeping, added);
        if (!placing.Run(why)) {
            return refuse(why);
        }
        revived = placing.Revived();
        emptied = placing.Emptied();
        if (!placing.Dropped().empty()) {
            const std::unordered_set<size_t> dropped(placing.Dropped().begin(), placing.Dropped().end());
            const auto isDropped = [&](const MergePlan::Add& add) { return dropped.count(add.updated) != 0; };
            plan.adds.erase(std::remove_if(plan.adds.begin(), plan.adds.end(), isDropped), plan.adds.end());
        }
    }
    if (!plan.removals.empty()) {
        // An element the new defaults drop with everything in it goes whole,
        // rather than be left empty.
        const Paths kept(theirs, naming);
        std::vector<bool> whole(mine.reading.size(), false); // removed with an element that holds it
        for (size_t c = 0; c < mine.containers.size(); ++c) {
            const Walked::Container& container = mine.containers[c];
            if (kept.Find(container.name)) {
                continue;
            }
            const std::string prefix = std::string(container.path) + ".";
            size_t end = container.first;
            bool all = true;
            for (; end < mine.reading.size() && naming.Path(mine.reading[end]).compare(0, prefix.size(), prefix) == 0;
                 ++end) {
                all = all && gone[end];
            }
            if (!all) {
                continue;
            }
            if (tree.RemoveNode(container.node, true, why) != 0) {
                return refuse(std::string(container.path) + ": " + why);
            }
            std::fill(whole.begin() + static_cast<std::ptrdiff_t>(container.first),
                      whole.begin() + static_cast<std::ptrdiff_t>(end), true);
            while (c + 1 < mine.containers.size()
                   && mine.containers[c + 1].path.compare(0, prefix.size(), prefix) == 0) {
                ++c; // inside it, gone with it
            }
        }
        for (size_t i : plan.removals) {
            if (whole[i]) {
                continue;
            }
            const int status = revived.count(mine.nodes[i].object) != 0 ? tree.SetNode(mine.nodes[i], std::string())
                                                                        : tree.RemoveNode(mine.nodes[i], true, why);
            if (status != 0) {
                return refuse(naming.Key(mine.reading[i]) + ": " + why);
            }
        }
    }
    // An emptied element that keeps an element of the file's stays its
    // container: the value the new defaults give it is no add.
    std::unordered_set<size_t> held;
    for (const auto& element : emptied) {
        if (keeping.count(element.second.object) != 0) {
            held.insert(element.first);
        }
    }
    plan.adds.erase(std::remove_if(plan.adds.begin(), plan.adds.end(),
                                   [&](const MergePlan::Add& add) { return held.count(add.updated) != 0; }),
                    plan.adds.end());
    std::string merged;
    if (!tree.Render(file.Text(), merged)) {
        return refuse("the edits do not fit the file's bytes");
    }
    tree.Discard();
    // What the edits made must read as the merge promises before it is kept.
    XmlDocument probe;
    if (probe.Parse(merged) != 0) {
        return refuse("the merged text would not read: " + probe.Error());
    }
    // Read back value by value: only those not where expected are kept.
    ReadBack readBack(mine.reading, theirs.reading, plan, naming);
    Keyed item;
    std::string path, group;
    naming.Restart(0);
    probe.Walk([&](const std::string& key, const std::string& value) {
        Name(item, naming, key, value, path, group);
        if (!readBack.Next(item)) {
            naming.KeepKey(item, key);
            item.value = naming.Keep(value);
            readBack.Hold(item);
        }
    });
    const std::string wrong = readBack.Result();
    if (!wrong.empty()) {
        return refuse(wrong);
    }
    DocumentAccess::Replace(file, probe);
    return 0;
}

} // namespace zelconfig
