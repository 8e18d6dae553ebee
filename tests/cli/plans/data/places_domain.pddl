(define (domain lamps)
  (:requirements :typing :durative-actions)
  (:types lamp - object)
  (:predicates (lit ?l - lamp) (free) (hot ?l - lamp))
  (:functions (oil ?l - lamp) (burnt))
  (:durative-action light
    :parameters (?l - lamp)
    :duration
      (= ?duration 4)
    :condition (and (at start (free))
      (over all (not (hot ?l)))
      (and
        (at start
          (>= (oil ?l) 2))))
    :effect (and (at start (not (free)))
      (at end (and
        (lit ?l)
        (free)
        (= (oil ?l) (- (oil ?l) 2))))
      (at end (= (burnt)
         (+ (burnt) 2))))))
