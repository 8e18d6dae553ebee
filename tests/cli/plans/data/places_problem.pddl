(define (problem two)
  (:domain lamps)
  (:objects a b - lamp)
  (:init
    (free)
    (= (oil a) 4) (= (oil b) 1)
    (at 9
       (hot a))
    (= (burnt) 0))
  (:goal (and (lit a)
    (at end (not (free)))
    (and (lit b)
      (hot b)))))
