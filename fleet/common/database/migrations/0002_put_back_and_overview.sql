-- compatible with 1
-- The ledger is being put back to the change before this one: what has this number or a greater one is being deleted.
-- null: it is not.
alter table ledger add column put_back_before bigint;
create index ledger_put_back on ledger (ledger_no) where put_back_before is not null;

-- The overview counts active alarms with this index alone.
drop index alarm_active_controller;
create index alarm_active_controller on alarm (controller_id, severity)
  include (is_shelved, is_out_of_service, is_acknowledged, is_closed) where ended = '';

-- How an alarm ended that was over when its fault had settled is not told. It ended as most do.
update alarm set ended = 'cleared' where ended = 'settled';
