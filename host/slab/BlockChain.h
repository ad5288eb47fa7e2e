#ifndef HOST_SLAB_BLOCKCHAIN_H
#define HOST_SLAB_BLOCKCHAIN_H

/// The places of one element of a chain.
template <class Element>
struct ChainLinks {
    Element *newer = nullptr;
    Element *older = nullptr;
};

/// Elements from the newest to the oldest, linked by their own field @p Links: entering and removing one takes no
/// memory. An element is in one chain for each such field at most. Reentrant.
template <class Element, ChainLinks<Element> Element::*Links>
class BlockChain final {
public:
    Element *newest() const { return _newest; }
    Element *oldest() const { return _oldest; }

    /// Enters @p element as the newest one.
    void add(Element *element)
    {
        element->*Links = {nullptr, _newest};
        (_newest ? (_newest->*Links).newer : _oldest) = element;
        _newest = element;
    }

    /// Takes out @p element, which is in this chain.
    void remove(Element *element)
    {
        const ChainLinks<Element> neighbours = element->*Links;
        (neighbours.newer ? (neighbours.newer->*Links).older : _newest) = neighbours.older;
        (neighbours.older ? (neighbours.older->*Links).newer : _oldest) = neighbours.newer;
    }

private:
    Element *_newest = nullptr;
    Element *_oldest = nullptr;
};

#endif
